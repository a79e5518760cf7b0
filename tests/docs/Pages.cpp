#include "tests/docs/Pages.h"

#include <cctype>
#include <filesystem>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "host/glue/XmlText.h"
#include "tests/support/process/DriverHost.h"

namespace docs {

namespace {

constexpr std::string_view kTableBegin = "<!-- command table: begin -->\n";
constexpr std::string_view kTableEnd = "<!-- command table: end -->";

constexpr char kAgentAlone[] =
    "<home><controller><address/></controller>"
    "<driver><id>1</id><name>agent</name><library>intercom_agent</library></driver></home>";

std::string AnchorOf(std::string_view heading) {
    std::string anchor;
    for (const char c : heading) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == ' ' || c == '-')
            anchor += '-';
        else if (std::isalnum(byte) || c == '_' || byte >= 0x80)
            anchor += static_cast<char>(std::tolower(byte));
    }
    return anchor;
}

std::string HeadingIn(const std::string& line) {
    const auto begin = line.find_first_not_of("# ");
    if (begin == std::string::npos) return "";
    return std::regex_replace(line.substr(begin), std::regex("`"), "");
}

void FindLinks(const std::string& line, std::vector<std::string>& links) {
    static const std::regex link(R"(\]\(([^)\s]+)\))");
    for (std::sregex_iterator found(line.begin(), line.end(), link), end; found != end; ++found)
        links.push_back((*found)[1]);
}

std::vector<std::string> SplitAt(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        if (!part.empty()) parts.push_back(part);
    return parts;
}

// A section may be headed by several commands: "addConfig, addRoute".
bool IsHeadedBy(const Section& section, const std::string& command) {
    for (const std::string& word : SplitAt(section.heading, ' '))
        if (word == command || word == command + ",") return true;
    return false;
}

std::string LinkTo(const std::string& command, const std::map<std::string, Page>& pages) {
    std::string link;
    for (const auto& [file, page] : pages) {
        const Section* const section = FindSection(page, command);
        if (!section) continue;
        if (!link.empty()) throw std::runtime_error(command + " is the heading of two sections: " + link);
        link = file;
        link.append("#").append(section->anchor);
    }
    if (link.empty()) throw std::runtime_error("no page has a section that is headed " + command);
    return link;
}

std::string RowOf(const Command& command, const std::map<std::string, Page>& pages) {
    std::string parameters;
    for (const std::string& parameter : command.parameters)
        parameters += (parameters.empty() ? "`" : " `") + parameter + "`";
    std::string row = "| [" + command.name + "](" + LinkTo(command.name, pages) + ") | " + command.kind;
    row += " | " + std::regex_replace(parameters, std::regex("\\|"), "\\|") + " | " + command.help + " |\n";
    return row;
}

}  // namespace

Page ReadPage(std::string_view markdown) {
    Page page;
    page.sections.emplace_back();
    bool fenced = false;
    std::istringstream lines{std::string(markdown)};
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("```")) fenced = !fenced;
        if (!fenced && line.starts_with("#")) {
            const std::string heading = HeadingIn(line);
            page.sections.push_back({heading, AnchorOf(heading), ""});
        }
        if (!fenced) FindLinks(line, page.links);
        page.sections.back().text.append(line).append("\n");
    }
    return page;
}

std::map<std::string, Page> ReadPages() {
    std::map<std::string, Page> pages;
    for (const auto& entry : std::filesystem::directory_iterator(DOCS_FOLDER))
        if (entry.path().extension() == ".md")
            pages[entry.path().filename().string()] = ReadPage(test::ReadFile(entry.path()));
    return pages;
}

std::vector<Command> ReadCommands(const std::string& xml) {
    const auto list = DvXML::ParseRoot(xml);
    if (!list) throw std::runtime_error("no list of commands: " + xml);
    std::vector<Command> commands;
    for (const DvXML::INode* element : list->NodeChildren()) {
        Command command;
        command.name = element->NodeGetNamedValue("name");
        command.kind = element->NodeGetNamedValue("kind");
        command.help = element->NodeGetNamedValue("help");
        const auto open = command.help.rfind(" (");
        if (open != std::string::npos && command.help.ends_with(")")) {
            const auto length = command.help.size() - open - 3;
            command.parameters = SplitAt(command.help.substr(open + 2, length), ' ');
            command.help.erase(open);
        }
        commands.push_back(std::move(command));
    }
    return commands;
}

std::string RenewCommandTable(const std::string& page, const std::vector<Command>& commands,
                              const std::map<std::string, Page>& pages) {
    const auto begin = page.find(kTableBegin);
    const auto end = page.find(kTableEnd);
    if (begin == std::string::npos || end == std::string::npos)
        throw std::runtime_error("the page does not say where the table of commands begins and ends");
    std::string table = "| Command | Kind | Parameters | Does |\n|---|---|---|---|\n";
    for (const Command& command : commands)
        table += RowOf(command, pages);
    return page.substr(0, begin + kTableBegin.size()) + table + page.substr(end);
}

const Section* FindSection(const Page& page, const std::string& command) {
    for (const Section& section : page.sections)
        if (IsHeadedBy(section, command)) return &section;
    return nullptr;
}

std::string AskForCommands() {
    test::DriverHost host(kAgentAlone);
    host.Start();
    return host.Send({"GET", "/drivers/agent/commands"}).body;
}

}  // namespace docs
