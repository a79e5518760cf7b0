// The command reference, docs/commands.md, says of every command what the agent's table says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "tests/support/AgentFixture.h"

namespace {

/// The cells of a row "| a | b |".
std::vector<std::string> Cells(const std::string& row) {
    std::vector<std::string> cells;
    for (std::size_t begin = row.find("| "), end; (end = row.find(" |", begin + 1)) != std::string::npos;
         begin = end + 1)
        cells.push_back(row.substr(begin + 2, end > begin + 2 ? end - begin - 2 : 0));
    return cells;
}

std::string WithoutMarkup(std::string text) {
    std::erase_if(text, [](char character) { return character == '`' || character == '\\'; });
    return text;
}

/// "name: help (parameters)" of every row of that kind, as the page gives it.
std::vector<std::string> PageRows(const std::string& kind) {
    std::ifstream page(COMMAND_REFERENCE);
    std::vector<std::string> rows;
    for (std::string line; std::getline(page, line);) {
        if (!line.starts_with("| [")) continue;
        const std::vector<std::string> cells = Cells(line);
        if (cells.at(1) != kind) continue;
        const std::string parameters = WithoutMarkup(cells.at(2));
        rows.push_back(cells.at(0).substr(1, cells.at(0).find(']') - 1) + ": " + cells.at(3) +
                       (parameters.empty() ? "" : " (" + parameters + ")"));
    }
    return rows;
}

std::vector<std::string> TableRows(const std::vector<CommandInfo>& commands) {
    std::vector<std::string> rows;
    for (const CommandInfo& command : commands)
        rows.push_back(command.name + ": " + command.help);
    return rows;
}

class CommandReference : public test::AgentFixture {};

TEST_F(CommandReference, SaysOfEveryUiCommandWhatTheTableSays) {
    Start();
    EXPECT_THAT(PageRows("ui"), testing::SizeIs(40));
    EXPECT_EQ(TableRows(Agent().GetUICmdDispatcher().Commands()), PageRows("ui"));
}

TEST_F(CommandReference, SaysOfEveryPlainCommandWhatTheTableSays) {
    Start();
    EXPECT_THAT(PageRows("plain"), testing::SizeIs(5));
    EXPECT_EQ(TableRows(Agent().GetCmdDispatcher().Commands()), PageRows("plain"));
}

}  // namespace
