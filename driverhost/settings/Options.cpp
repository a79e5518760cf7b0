#include "driverhost/settings/Options.h"

#include <boost/program_options.hpp>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <utility>

#include "driverhost/http/rights/Rights.h"
#include "driverhost/runtime/ProgramReports.h"
#include "driverhost/settings/TokenFile.h"
#include "host/glue/PluginEntry.h"

namespace driverhost {
namespace {

namespace po = boost::program_options;

constexpr char kVersion[] = "1.0.0";
constexpr char kDefaultListen[] = "127.0.0.1:8350";
constexpr unsigned int kDefaultLogLevel = 6;
constexpr unsigned int kHighestLogLevel = 7;
constexpr unsigned int kHelpColumns = 80;

constexpr char kHelpHead[] =
    "driverhost --home FILE [OPTIONS]\n"
    "Loads the drivers that the home file names and serves them over HTTP.\n";

constexpr char kHelpTail[] =
    "\nDefault state folder: $STATE_DIRECTORY, else $XDG_STATE_HOME/driverhost,\n"
    "else $HOME/.local/state/driverhost.\n"
    "\nSignals: SIGTERM and SIGINT end the host in an orderly way, SIGHUP makes it read\n"
    "the home file, the tokens, the pages and the certificate again.\n"
    "\nExit status:\n"
    "  0  ended in an orderly way, on SIGTERM or SIGINT\n"
    "  1  could not start (address in use, state folder unusable or in use by\n"
    "     another driverhost), or could not store the last state\n"
    "  2  wrong options, a fault in the home file, or a plug-in that does not fit;\n"
    "     nothing was started\n";

po::options_description DescribeLimits() {
    po::options_description options("Bounds (MS: milliseconds)", kHelpColumns, kHelpColumns / 2);
    for (const LimitRow& row : LimitTable()) {
        const std::string preset = std::to_string(LimitValue(Limits(), row));
        options.add_options()(
            row.option, po::value<std::string>()->value_name(row.unit)->default_value(preset), row.help);
    }
    return options;
}

po::options_description DescribeOptions() {
    po::options_description options("Options", kHelpColumns, kHelpColumns / 2);
    options.add_options()("home", po::value<std::string>()->value_name("FILE"),
                          "the home file; must be given")(
        "state-dir", po::value<std::string>()->value_name("DIR"), "where states are stored")(
        "listen", po::value<std::string>()->value_name("ADDRESS:PORT")->default_value(kDefaultListen),
        "where to listen; port 0 means any free port; an address that others can reach needs --token-file")(
        "tls-certificate", po::value<std::string>()->value_name("FILE"),
        "the certificate with which --listen speaks TLS (PEM); scripts/certificate makes one")(
        "tls-key", po::value<std::string>()->value_name("FILE"), "its key (PEM, mode 0600)")(
        "tls-authority", po::value<std::string>()->value_name("FILE"),
        "the certificate of the authority that signed it, for the port of --plain-listen (PEM)")(
        "plain-listen", po::value<std::string>()->value_name("ADDRESS:PORT"),
        "a port without TLS that gives out the authority's certificate and leads to the other one")(
        "socket", po::value<std::string>()->value_name("PATH"),
        "unix socket for this machine's own programs; default: .socket in the state folder")(
        "token-file", po::value<std::string>()->value_name("FILE"),
        "file with the tokens that requests must show, and their roles (mode 0600)")(
        "plugin-dir", po::value<std::string>()->value_name("DIR"),
        "where the drivers' libraries are; default: ../plugins beside the program")(
        "web-dir", po::value<std::string>()->value_name("DIR"),
        "the pages that are served; default: ../web or ../share/driverhost/web beside the program, else "
        "none")("reports-dir", po::value<std::string>()->value_name("DIR"),
                "where other programs leave metrics and warnings; default: $INTERCOM_REPORTS_DIR, else none")(
        "log-level",
        po::value<std::string>()->value_name("N")->default_value(std::to_string(kDefaultLogLevel)),
        "log lines up to this level: 3 errors, 6 information, 7 debugging")(
        "rights", "print the table of who may do what, in Markdown")("help", "print this help")(
        "version", "print the version");
    return options.add(DescribeLimits());
}

std::string HelpText(const po::options_description& options) {
    std::ostringstream text;
    text << kHelpHead << "\n" << options << kHelpTail;
    return text.str();
}

std::string VersionText() {
    std::ostringstream text;
    text << "driverhost " << kVersion << " (driver ABI " << dv::kAbiVersion << ")\n";
    return text.str();
}

po::variables_map Parse(int argc, const char* const* argv, const po::options_description& options) {
    // An abbreviation that is unique today may be ambiguous after the next release.
    const int style = po::command_line_style::default_style & ~po::command_line_style::allow_guessing;
    po::variables_map values;
    po::store(po::command_line_parser(argc, argv)
                  .options(options)
                  .positional(po::positional_options_description())
                  .style(style)
                  .run(),
              values);
    return values;
}

std::string Text(const po::variables_map& values, const char* name) {
    return values.count(name) > 0 ? values[name].as<std::string>() : std::string();
}

std::string FromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string DefaultStateFolder() {
    if (const std::string given = FromEnvironment("STATE_DIRECTORY"); !given.empty()) return given;
    if (const std::string states = FromEnvironment("XDG_STATE_HOME"); !states.empty()) {
        return states + "/driverhost";
    }
    if (const std::string home = FromEnvironment("HOME"); !home.empty())
        return home + "/.local/state/driverhost";
    throw OptionError("there is no default state folder without $HOME; set --state-dir");
}

// The folder above the one that the program is in: of a build or of an installation.
std::filesystem::path OwnFolder(const char* insteadSet) {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) throw OptionError(std::string("cannot find out the program's own folder; set ") + insteadSet);
    return program.parent_path().parent_path();
}

std::string DefaultPluginFolder() {
    return (OwnFolder("--plugin-dir") / "plugins").string();
}

bool IsFolder(const std::filesystem::path& path) {
    std::error_code error;  // then it is none
    return std::filesystem::is_directory(path, error);
}

// Empty when there is none: a host without pages is a whole one.
std::string FindWebFolder(const std::string& given) {
    if (!given.empty() && !IsFolder(given))
        throw OptionError("--web-dir " + given + ": there is no such folder");
    if (!given.empty()) return given;
    for (const char* place : {"web", "share/driverhost/web"}) {
        const auto folder = OwnFolder("--web-dir") / place;
        if (IsFolder(folder)) return folder.string();
    }
    return {};
}

unsigned int ParseLogLevel(const std::string& text) {
    if (text.size() == 1 && text[0] >= '0' && text[0] <= static_cast<char>('0' + kHighestLogLevel)) {
        return static_cast<unsigned int>(text[0] - '0');
    }
    throw OptionError("--log-level " + text + ": expected a number from 0 to " +
                      std::to_string(kHighestLogLevel));
}

ListenAddress ParsePlace(const char* option, const std::string& text) {
    const auto address = ParseListenAddress(text);
    if (address) return *address;
    throw OptionError(std::string(option) + " " + text +
                      ": expected ADDRESS:PORT, like 127.0.0.1:8350 or [::1]:8350");
}

ListenAddress ParseListen(const std::string& text, bool hasToken) {
    ListenAddress address = ParsePlace("--listen", text);
    if (!address.IsLoopback() && !hasToken) {
        throw OptionError("--listen " + text + ": others can reach this address, so --token-file is needed");
    }
    return address;
}

TlsFiles ReadTlsFiles(const po::variables_map& values) {
    TlsFiles files{Text(values, "tls-certificate"), Text(values, "tls-key"), Text(values, "tls-authority")};
    if (files.certificate.empty() != files.key.empty())
        throw OptionError("--tls-certificate and --tls-key are of use only together");
    if (files.certificate.empty() && !files.authority.empty())
        throw OptionError("--tls-authority needs --tls-certificate and --tls-key");
    return files;
}

std::optional<ListenAddress> ReadPlainListen(const po::variables_map& values, const TlsFiles& tls) {
    const std::string text = Text(values, "plain-listen");
    if (text.empty()) return std::nullopt;
    if (tls.authority.empty())
        throw OptionError("--plain-listen " + text +
                          ": there is nothing to give out without --tls-authority");
    return ParsePlace("--plain-listen", text);
}

Limits ReadLimits(const po::variables_map& values) {
    Limits limits;
    for (const LimitRow& row : LimitTable()) {
        const std::string text = Text(values, row.option);
        const Fault fault = SetLimit(limits, row, text);
        if (!fault.empty()) throw OptionError("--" + std::string(row.option) + " " + text + ": " + fault);
    }
    return limits;
}

Options Read(const po::variables_map& values) {
    Options options;
    options.home = Text(values, "home");
    if (options.home.empty())
        throw OptionError("--home FILE is missing; driverhost --help lists the options");
    options.tokenFile = Text(values, "token-file");
    if (values.count("token-file") > 0) options.tokens = ReadTokenFile(options.tokenFile);
    options.listen = ParseListen(Text(values, "listen"), !options.tokens.empty());
    options.tls = ReadTlsFiles(values);
    options.plainListen = ReadPlainListen(values, options.tls);
    options.logLevel = ParseLogLevel(Text(values, "log-level"));
    options.limits = ReadLimits(values);
    options.stateFolder = Text(values, "state-dir");
    if (options.stateFolder.empty()) options.stateFolder = DefaultStateFolder();
    options.socket = Text(values, "socket");
    if (options.socket.empty()) options.socket = options.stateFolder + "/.socket";
    options.socket = std::filesystem::absolute(options.socket).string();  // others run in other folders
    options.pluginFolder = Text(values, "plugin-dir");
    if (options.pluginFolder.empty()) options.pluginFolder = DefaultPluginFolder();
    options.webFolder = FindWebFolder(Text(values, "web-dir"));
    options.reportsFolder = Text(values, "reports-dir");
    if (options.reportsFolder.empty()) options.reportsFolder = FromEnvironment(kReportsVariable);
    if (!options.reportsFolder.empty())
        options.reportsFolder = std::filesystem::absolute(options.reportsFolder).string();
    return options;
}

Options PrintOnly(std::string text) {
    Options options;
    options.printOnly = std::move(text);
    return options;
}

}  // namespace

Options ParseOptions(int argc, const char* const* argv) {
    const po::options_description described = DescribeOptions();
    try {
        const po::variables_map values = Parse(argc, argv, described);
        if (values.count("help") > 0) return PrintOnly(HelpText(described));
        if (values.count("version") > 0) return PrintOnly(VersionText());
        if (values.count("rights") > 0) return PrintOnly(RightsText());
        return Read(values);
    } catch (const po::error& error) {
        throw OptionError(std::string(error.what()) + "; driverhost --help lists the options");
    }
}

}  // namespace driverhost
