// That the pages say what the programs do: every command and event stands in them, and links lead
// somewhere. Their worked examples are played as scenarios.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>

#include "tests/docs/Pages.h"
#include "tests/support/process/TempFolder.h"

namespace docs {
namespace {

const std::filesystem::path kFolder = DOCS_FOLDER;

std::vector<std::string> SplitAlternatives(const std::string& parameter) {
    const auto bar = parameter.find('|');
    if (bar == std::string::npos) return {parameter};
    return {parameter.substr(0, bar), parameter.substr(bar + 1)};
}

/// Whether a link from a page of the folder leads to a file, and to a heading where it names one.
bool LeadsSomewhere(const std::string& file, const std::string& link) {
    const auto mark = link.find('#');
    const std::string target = mark == 0 ? file : link.substr(0, mark);
    if (!std::filesystem::exists(kFolder / target)) return false;
    if (mark == std::string::npos) return true;
    const Page page = ReadPage(test::ReadFile(kFolder / target));
    const std::string anchor = link.substr(mark + 1);
    return std::any_of(page.sections.begin(), page.sections.end(),
                       [&](const Section& section) { return section.anchor == anchor; });
}

std::set<std::string> QuotedNamesIn(const std::string& source) {
    static const std::regex quoted("\"([A-Z][A-Za-z_]+)\"");
    std::set<std::string> names;
    for (std::sregex_iterator found(source.begin(), source.end(), quoted), end; found != end; ++found)
        names.insert((*found)[1]);
    return names;
}

TEST(CommandReference, PageIsWhatTheAgentsTableGives) {
    const std::string page = test::ReadFile(kFolder / "commands.md");
    const auto commands = ReadCommands(AskForCommands());
    ASSERT_EQ(45U, commands.size());
    EXPECT_EQ(RenewCommandTable(page, commands, ReadPages()), page) << "run scripts/update-command-reference";
}

TEST(CommandReference, SectionOfACommandNamesItsParameters) {
    const auto pages = ReadPages();
    for (const Command& command : ReadCommands(AskForCommands())) {
        for (const auto& [file, page] : pages) {
            const Section* const section = FindSection(page, command.name);
            if (!section) continue;
            for (const std::string& parameter : command.parameters)
                for (const std::string& name : SplitAlternatives(parameter))
                    EXPECT_TRUE(name == "..." || section->text.find("`" + name + "`") != std::string::npos)
                        << file << " does not name " << name << " of " << command.name;
        }
    }
}

TEST(CommandReference, CommandWithoutASectionIsAnError) {
    const std::string page = "<!-- command table: begin -->\n<!-- command table: end -->";
    EXPECT_THROW(RenewCommandTable(page, {{"a", "ui", "help", {}}}, {}), std::runtime_error);
    EXPECT_THROW(RenewCommandTable(page, {{"a", "ui", "help", {}}},
                                   {{"1.md", ReadPage("### a\n")}, {"2.md", ReadPage("### a\n")}}),
                 std::runtime_error);
}

TEST(CommandReference, RowShowsNameKindParametersAndHelp) {
    const auto commands = ReadCommands(
        "<commands><command><name>getUser</name><kind>ui</kind><help>a device (key|index "
        "...)</help></command></commands>");
    const std::string page =
        RenewCommandTable("<!-- command table: begin -->\nold\n<!-- command table: end -->\n", commands,
                          {{"devices.md", ReadPage("### getUser\n")}});
    EXPECT_NE(std::string::npos,
              page.find("\n| [getUser](devices.md#getuser) | ui | `key\\|index` `...` | a device |\n"))
        << page;
    EXPECT_EQ(std::string::npos, page.find("old"));
}

TEST(EventsPage, NamesEveryEvent) {
    const std::string page = test::ReadFile(kFolder / "events.md");
    auto names = QuotedNamesIn(test::ReadFile(kFolder / "../agent/UiEvents.h"));
    names.merge(QuotedNamesIn(test::ReadFile(kFolder / "../agent/UiEvents.cpp")));
    EXPECT_EQ(25U, names.size());
    for (const std::string& name : names)
        EXPECT_NE(std::string::npos, page.find("`" + name + "`")) << name;
}

TEST(Pages, LinksLeadSomewhere) {
    for (const auto& [file, page] : ReadPages()) {
        for (const std::string& link : page.links)
            EXPECT_TRUE(link.find("://") != std::string::npos || LeadsSomewhere(file, link))
                << file << ": " << link;
    }
}

}  // namespace
}  // namespace docs
