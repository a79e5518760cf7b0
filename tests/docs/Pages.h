// The pages for readers, as far as tests look into them.
#ifndef TESTS_DOCS_PAGES_H
#define TESTS_DOCS_PAGES_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace docs {

struct Section {
    std::string heading;  // without "#" and markup
    std::string anchor;   // as links name it
    std::string text;     // from the heading to the next one
};

struct Page {
    std::vector<Section> sections;   // the first one may have no heading
    std::vector<std::string> links;  // what stands in the brackets: "groups.md#addgroup"
};

/// Takes a page in Markdown apart. Fenced blocks have neither headings nor links.
Page ReadPage(std::string_view markdown);

/// Every page of docs/ by its file name.
std::map<std::string, Page> ReadPages();

struct Command {
    std::string name;
    std::string kind;
    std::string help;
    std::vector<std::string> parameters;  // as the table writes them: "key", "key|index", "..."
};

/// The list that a host gives of a driver's commands.
std::vector<Command> ReadCommands(const std::string& xml);

/// The page with its table of commands made anew, each linked to the one section that is headed by it.
/// Throws std::runtime_error when a command has no section, or more than one.
std::string RenewCommandTable(const std::string& page, const std::vector<Command>& commands,
                              const std::map<std::string, Page>& pages);

/// The section that is headed by the command; null when there is none in the page.
const Section* FindSection(const Page& page, const std::string& command);

/// What GET /drivers/agent/commands answers of a driverhost that is started for it.
std::string AskForCommands();

}  // namespace docs

#endif
