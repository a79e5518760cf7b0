#include "client/Commands.h"

#include <algorithm>
#include <iostream>
#include <sstream>

#include "client/Answers.h"

namespace {

constexpr std::string_view kPlain = "plain";

std::string DriverPath(const Options& options, const std::string& rest) {
    return "/drivers/" + PercentEncode(options.driver) + rest;
}

void WantNoArguments(const Options& options) {
    if (!options.arguments.empty())
        throw WrongUse(options.command + " takes no arguments, not \"" + options.arguments.front() + "\"");
}

void PrintCommand(pugi::xml_node command, std::size_t width) {
    std::string name = command.child_value("name");
    name.resize(std::max(width, name.size()), ' ');
    std::cout << "  " << name << "  " << command.child_value("help");
    if (command.child_value("kind") == kPlain) std::cout << "; no reply";
    std::cout << "\n";
}

void PrintCommands(const std::vector<pugi::xml_node>& commands) {
    std::size_t width = 0;
    for (const pugi::xml_node command : commands)
        width = std::max(width, std::string_view(command.child_value("name")).size());
    for (const pugi::xml_node command : commands)
        PrintCommand(command, width);
}

// Prints the lines of a command that the client has itself. False when it has no such command.
bool PrintOwnCommand(const std::string& command) {
    std::istringstream lines(Options::OwnCommands());
    bool found = false;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string program;
        std::string name;
        words >> program >> name;
        if (name != command) continue;
        std::cout << line << "\n";
        found = true;
    }
    return found;
}

ExitStatus Help(const Options& options, const Connection& connection) {
    if (options.arguments.size() > 1) throw WrongUse("help takes at most one command");
    const Answer answer = connection.Get(DriverPath(options, "/commands"));
    if (options.raw) return PrintAnswer(answer, true);
    CheckStatus(answer);
    const pugi::xml_document list = ParseXml(answer.body);
    if (!list.document_element()) throw Failure(EXIT_NO_ANSWER, "the host's list of commands is not XML");
    std::vector<pugi::xml_node> commands(list.document_element().begin(), list.document_element().end());
    if (options.arguments.empty()) {
        std::cout << "Commands of " << options.driver << ":\n";
    } else {
        const std::string& wanted = options.arguments.front();
        if (PrintOwnCommand(wanted)) return EXIT_DONE;
        std::erase_if(commands,
                      [&](pugi::xml_node command) { return command.child_value("name") != wanted; });
        if (commands.empty())
            throw WrongUse(options.driver + " has no command \"" + wanted +
                           "\"; intercomctl help lists them");
    }
    PrintCommands(commands);
    if (options.arguments.empty()) std::cout << "Commands of the client:\n" << Options::OwnCommands();
    return EXIT_DONE;
}

ExitStatus Events(const Options& options, const Connection& connection) {
    WantNoArguments(options);
    FollowEvents(connection, options);
}

ExitStatus Drivers(const Options& options, const Connection& connection) {
    WantNoArguments(options);
    return PrintAnswer(connection.Get("/drivers"), options.raw);
}

ExitStatus Send(const Options& options, const Connection& connection) {
    const Parameters parameters = ReadParameters(options.arguments);
    const std::string path = DriverPath(options, "/commands/" + PercentEncode(options.command));
    return PrintAnswer(connection.PostForm(path, parameters), options.raw);
}

struct Row {
    const char* command;
    ExitStatus (*run)(const Options&, const Connection&);
};
constexpr Row kOwnCommands[] = {
    {"help", &Help},        {"events", &Events},  {"state", &RunState},   {"drivers", &Drivers},
    {"phones", &RunPhones}, {"calls", &RunCalls}, {"hangup", &RunHangup},
};

}  // namespace

ExitStatus RunCommand(const Options& options) {
    if (options.command.empty()) throw WrongUse("a command is missing");
    if (options.since && options.command != "events") throw WrongUse("--since goes with events only");
    const bool saves =
        options.command == "state" && !options.arguments.empty() && options.arguments[0] == "save";
    if (options.overwrite && !saves) throw WrongUse("--overwrite goes with state save only");
    const Connection connection(options.url, options.token, options.authority);
    for (const Row& row : kOwnCommands) {
        if (options.command == row.command) return row.run(options, connection);
    }
    return Send(options, connection);
}
