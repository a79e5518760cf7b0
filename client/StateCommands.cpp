// intercomctl state.
#include <algorithm>
#include <array>
#include <iostream>

#include "client/Answers.h"
#include "client/BackupFile.h"
#include "client/Commands.h"

namespace {

constexpr unsigned int kNoContent = 204;

std::string StatePath(const Options& options) {
    return "/drivers/" + PercentEncode(options.driver) + "/state";
}

std::string Generations(const Options& options) {
    return StatePath(options) + "/generations";
}

Answer Checked(Answer answer) {
    CheckStatus(answer);
    return answer;
}

// The number, as it was given: the host interprets it.
std::string NumberOf(const Options& options) {
    const std::string& number = options.arguments.at(1);
    const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
    if (number.empty() || !std::all_of(number.begin(), number.end(), isDigit))
        throw WrongUse("\"" + number +
                       "\" is not the number of a generation; intercomctl state list shows them");
    return number;
}

Answer GetGeneration(const Options& options, const Connection& connection) {
    return Checked(connection.Get(Generations(options) + "/" + NumberOf(options)));
}

ExitStatus Current(const Options& options, const Connection& connection) {
    return PrintAnswer(connection.Get(StatePath(options)), options.raw);
}

using Widths = std::array<std::size_t, 3>;

void PrintGeneration(pugi::xml_node generation, const Widths& widths) {
    const std::array<const char*, 3> columns = {"number", "time", "bytes"};
    for (std::size_t column = 0; column < columns.size(); ++column) {
        const std::string text = generation.child_value(columns[column]);
        std::cout << std::string(widths[column] - std::min(widths[column], text.size()), ' ') << text << "  ";
    }
    const std::string fault = generation.child_value("fault");
    std::cout << generation.child_value("checksum") << (fault.empty() ? "" : ": " + fault) << "\n";
}

ExitStatus List(const Options& options, const Connection& connection) {
    const Answer answer = Checked(connection.Get(Generations(options)));
    const pugi::xml_document document = ParseXml(answer.body);
    const pugi::xml_node list = document.document_element();
    if (options.raw || !list) {
        std::cout << answer.body;
        return EXIT_DONE;
    }
    if (!list.first_child()) {
        std::cout << "Nothing of " << options.driver << " is stored yet.\n";
        return EXIT_DONE;
    }
    constexpr Widths kWidths = {10, 20, 9};
    std::cout << "    number  time                      bytes  checksum\n";
    for (const pugi::xml_node generation : list)
        PrintGeneration(generation, kWidths);
    return EXIT_DONE;
}

ExitStatus Show(const Options& options, const Connection& connection) {
    return PrintAnswer(GetGeneration(options, connection), options.raw);
}

// Puts a document back. The host checks it before it stops the driver.
void Put(const Options& options, const Connection& connection, const std::string& document) {
    CheckStatus(connection.Put(StatePath(options), document));
}

ExitStatus Restore(const Options& options, const Connection& connection) {
    Put(options, connection, GetGeneration(options, connection).body);
    std::cout << options.driver << " is running with generation " << options.arguments.at(1)
              << " again; its former state is kept as a generation.\n";
    return EXIT_DONE;
}

ExitStatus Save(const Options& options, const Connection& connection) {
    BackupFile file(options.arguments.at(1), options.overwrite);
    const Answer answer = Checked(connection.Get(StatePath(options)));
    if (answer.status == kNoContent)
        throw Failure(EXIT_NO_ANSWER, options.driver + " keeps no state; nothing was saved");
    file.Finish(answer.body);
    std::cout << "The state of " << options.driver << " is saved in " << options.arguments.at(1) << " ("
              << answer.body.size() << " bytes).\n";
    return EXIT_DONE;
}

ExitStatus Load(const Options& options, const Connection& connection) {
    Put(options, connection, ReadFile(options.arguments.at(1)));
    std::cout << options.driver << " is running with the state from " << options.arguments.at(1)
              << "; its former state is kept as a generation.\n";
    return EXIT_DONE;
}

struct Row {
    const char* word;
    const char* argument;  // null: it takes none
    ExitStatus (*run)(const Options&, const Connection&);
};
constexpr Row kRows[] = {
    {"list", nullptr, &List}, {"show", "N", &Show},    {"restore", "N", &Restore},
    {"save", "FILE", &Save},  {"load", "FILE", &Load},
};

void CheckArguments(const Row& row, const Options& options) {
    const std::string use = std::string("state ") + row.word;
    const std::size_t wanted = row.argument ? 2 : 1;
    if (options.arguments.size() < wanted) throw WrongUse(use + " needs " + row.argument);
    if (options.arguments.size() > wanted)
        throw WrongUse(use + " does not take \"" + options.arguments[wanted] + "\"");
}

}  // namespace

ExitStatus RunState(const Options& options, const Connection& connection) {
    if (options.arguments.empty()) return Current(options, connection);
    for (const Row& row : kRows) {
        if (options.arguments.front() != row.word) continue;
        CheckArguments(row, options);
        return row.run(options, connection);
    }
    throw WrongUse("state does not take \"" + options.arguments.front() +
                   "\"; it takes list, show N, restore N, save FILE or load FILE");
}
