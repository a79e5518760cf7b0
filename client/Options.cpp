#include "client/Options.h"

#include <algorithm>
#include <boost/program_options.hpp>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

#include "client/Failure.h"

namespace po = boost::program_options;

namespace {

constexpr char kDefaultUrl[] = "http://127.0.0.1:8350";

std::vector<std::string> WordsOf(const std::string& line) {
    std::istringstream text(line);
    return {std::istream_iterator<std::string>(text), {}};
}

bool IsVisible(const std::string& word) {
    return std::ranges::all_of(word, [](char character) { return character > ' ' && character <= '~'; });
}

// The administrator's, which stands alone or behind its role. The other roles' are for pages.
std::string ReadToken(const std::string& path) {
    std::istringstream lines(ReadFile(path));
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> words = WordsOf(line);
        if (words.empty() || words[0].starts_with('#')) continue;
        const bool isAdmins = words.size() == 1 || (words.size() == 2 && words[0] == "admin");
        if (isAdmins && IsVisible(words.back())) return words.back();
    }
    throw WrongUse(
        path +
        " has no line with an administrator's token: one word of ASCII characters, alone or behind "
        "\"admin\"");
}

// ./run --listen-lan leaves it beside the tokens.
std::string AuthorityBeside(const std::string& tokenFile) {
    if (tokenFile.empty()) return {};
    const std::filesystem::path path = std::filesystem::path(tokenFile).replace_filename("authority.pem");
    std::error_code error;  // then there is none
    return std::filesystem::exists(path, error) ? path.string() : std::string();
}

std::string Choose(const po::variables_map& given, const char* option, const char* variable,
                   const std::string& otherwise) {
    if (given.count(option) != 0) return given[option].as<std::string>();
    const char* const fromEnvironment = std::getenv(variable);
    return fromEnvironment && *fromEnvironment ? fromEnvironment : otherwise;
}

po::options_description Visible() {
    po::options_description visible("Options");
    visible.add_options()                                                                               //
        ("url", po::value<std::string>()->value_name("URL"),                                            //
         "the driver host (default: $INTERCOMCTL_URL, else http://127.0.0.1:8350)")                     //
        ("token-file", po::value<std::string>()->value_name("FILE"),                                    //
         "the file with its token (default: $INTERCOMCTL_TOKEN_FILE)")                                  //
        ("authority", po::value<std::string>()->value_name("FILE"),                                     //
         "with https: whose certificates are trusted (PEM; default: $INTERCOMCTL_AUTHORITY, else "      //
         "authority.pem beside the token file, else those of the system)")                              //
        ("driver", po::value<std::string>()->value_name("NAME"), "the driver to ask (default: agent)")  //
        ("call-control", po::value<std::string>()->value_name("PATH"),                                  //
         "with phones, calls, hangup: call control's socket (default: $INTERCOM_CALLCONTROL_SOCKET)")   //
        ("raw", "print the bytes as they came")                                                         //
        ("overwrite", "with state save: replace an existing file")                                      //
        ("since", po::value<std::string>()->value_name("ID"),                                           //
         "with events: begin after the event with that id; 0: with all events that the host has kept")  //
        ("help,h", "print this page");
    return visible;
}

po::variables_map ParseWords(int argc, const char* const* argv) {
    po::options_description all;
    all.add(Visible()).add_options()("words", po::value<std::vector<std::string>>());
    po::positional_options_description positions;
    positions.add("words", -1);
    po::variables_map given;
    try {
        const int style = po::command_line_style::unix_style & ~po::command_line_style::allow_guessing;
        po::store(po::command_line_parser(argc, argv).options(all).positional(positions).style(style).run(),
                  given);
    } catch (const po::error& error) {
        throw WrongUse(error.what());
    }
    return given;
}

}  // namespace

Options Options::Read(int argc, const char* const* argv) {
    const po::variables_map given = ParseWords(argc, argv);
    Options options;
    options.help = given.count("help") != 0;
    options.overwrite = given.count("overwrite") != 0;
    options.raw = given.count("raw") != 0;
    options.url = Url::Parse(Choose(given, "url", "INTERCOMCTL_URL", kDefaultUrl));
    const std::string tokenFile = Choose(given, "token-file", "INTERCOMCTL_TOKEN_FILE", "");
    if (given.count("token-file") != 0 || !tokenFile.empty()) options.token = ReadToken(tokenFile);
    options.authority = Choose(given, "authority", "INTERCOMCTL_AUTHORITY", AuthorityBeside(tokenFile));
    if (given.count("driver") != 0) options.driver = given["driver"].as<std::string>();
    options.callControl = Choose(given, "call-control", "INTERCOM_CALLCONTROL_SOCKET", "");
    if (given.count("since") != 0) options.since = given["since"].as<std::string>();
    if (given.count("words") == 0) return options;
    options.arguments = given["words"].as<std::vector<std::string>>();
    options.command = options.arguments.front();
    options.arguments.erase(options.arguments.begin());
    return options;
}

std::string Options::OwnCommands() {
    return "  intercomctl help [COMMAND]    lists the agent's commands, or describes one\n"
           "  intercomctl events            follows the events\n"
           "  intercomctl state             shows the agent's whole state\n"
           "  intercomctl state list        lists the generations of it that the host has kept\n"
           "  intercomctl state show N      shows one of them\n"
           "  intercomctl state restore N   takes back later changes: starts the agent with that one\n"
           "  intercomctl state save FILE   writes the state into a file, as a backup\n"
           "  intercomctl state load FILE   starts the agent with that backup\n"
           "  intercomctl drivers           lists the drivers of the host\n"
           "  intercomctl phones            lists the phones that are registered, and those that are away\n"
           "  intercomctl calls             lists the running calls and their phones\n"
           "  intercomctl hangup CALL       ends one of them\n";
}

std::string Options::Usage() {
    std::ostringstream page;
    page
        << "usage: intercomctl [OPTION ...] COMMAND [NAME=VALUE ...]\n\n"
           "Sends one command to the intercom agent of a driver host and prints the reply.\n"
           "NAME=@FILE sends the content of the file, NAME=@@TEXT the value @TEXT.\n\n"
        << OwnCommands() << "\n"
        << Visible()
        << "\nExit status: 0 done, 1 the answer was fail or failed, 2 wrong use, 3 the host or call control\n"
           "could not be reached or refused.\n";
    return page.str();
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    // A folder can be opened like a file, but not read.
    if (!file || (file.peek() != std::ifstream::traits_type::eof() && !(content << file.rdbuf())) ||
        file.bad())
        throw WrongUse("cannot read " + path + ": " + std::generic_category().message(errno));
    return content.str();
}

Parameters ReadParameters(const std::vector<std::string>& words) {
    Parameters parameters;
    for (const std::string& word : words) {
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos || equals == 0)
            throw WrongUse("\"" + word + "\" is not a parameter; write NAME=VALUE");
        std::string value = word.substr(equals + 1);
        if (value.starts_with("@@"))
            value.erase(0, 1);
        else if (value.starts_with('@'))
            value = ReadFile(value.substr(1));
        parameters.emplace_back(word.substr(0, equals), value);
    }
    return parameters;
}
