#include "driverhost/home/HomeFile.h"

#include <arpa/inet.h>
#include <sys/stat.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <set>

#include "driverhost/state/FileSystem.h"
#include "host/glue/Numbers.h"
#include "host/glue/XmlText.h"
#include "host/xml/Characters.h"

namespace driverhost {
namespace {

using Element = const DvXML::INode&;

constexpr unsigned long kMaxId = 4294967295UL;
constexpr std::size_t kMaxNameBytes = 100;  // the name of a folder, with room for an ending
constexpr std::string_view kLibraryEnding = ".so";

// Writes control characters as references, as a file can, so that a message stays one line.
std::string Quoted(std::string_view text) {
    std::string quoted = "'";
    for (const char c : text) {
        const bool isControl = static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
        isControl ? quoted.append("&#" + std::to_string(c) + ";") : quoted.append(1, c);
    }
    return quoted + "'";
}

bool IsPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool IsLibraryName(std::string_view name) {
    const auto fits = [](char c) {
        return IsPlain(c) || std::string_view("_-+.").find(c) != std::string_view::npos;
    };
    // The library is named in a comment after each stored document, and two hyphens would end that comment.
    return !name.empty() && name.front() != '.' && name.size() <= kMaxNameBytes &&
           std::all_of(name.begin(), name.end(), fits) && name.find("--") == std::string_view::npos &&
           name.back() != '-';
}

bool IsFolderName(std::string_view name) {
    const auto breaks = [](char c) { return c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    return !name.empty() && name.front() != '.' && name.size() <= kMaxNameBytes &&
           std::none_of(name.begin(), name.end(), breaks);
}

bool IsFile(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Turns "line 3, column 7: reason" into ":3: not XML: reason (column 7)", the form of all other faults.
std::string PlaceFirst(const std::string& error) {
    constexpr std::string_view line = "line ";
    constexpr std::string_view column = ", column ";
    const std::size_t columnAt = error.find(column);
    const std::size_t reasonAt = error.find(": ");
    if (!error.starts_with(line) || columnAt > reasonAt || reasonAt == std::string::npos) {
        return ": not XML: " + error;
    }
    const std::size_t columnStart = columnAt + column.size();
    return ":" + error.substr(line.size(), columnAt - line.size()) +
           ": not XML: " + error.substr(reasonAt + 2) + " (column " +
           error.substr(columnStart, reasonAt - columnStart) + ")";
}

class HomeReader {
public:
    HomeReader(std::string_view text, std::string fileName, std::string pluginFolder);

    Home Read();

private:
    [[noreturn]] void Refuse(Element where, const std::string& what) const;
    void CheckChildren(Element parent, std::initializer_list<std::string_view> once,
                       std::initializer_list<std::string_view> often) const;
    std::string Text(Element parent, const char* name) const;

    std::string ReadAddress(Element controller) const;
    DriverEntry ReadDriver(Element driver);
    unsigned long ReadId(Element driver) const;
    std::string ReadLibrary(Element driver) const;
    void CheckName(Element driver, const std::string& name) const;
    void CheckUnique(Element driver, const DriverEntry& entry);
    std::string LineOfEarlier(int line) const { return " (first in line " + std::to_string(line) + ")"; }

    const std::string fileName_;
    const std::string pluginFolder_;
    DvXML::ElementLines lines_;
    dv::auto_com<DvXML::INode> root_;
    std::map<unsigned long, int> ids_;
    std::map<std::string, int> names_;
};

HomeReader::HomeReader(std::string_view text, std::string fileName, std::string pluginFolder)
    : fileName_(std::move(fileName)), pluginFolder_(std::move(pluginFolder)) {
    std::string error;
    root_ = DvXML::ParseWithLines(text, lines_, error);
    if (!root_) throw HomeFileError(fileName_ + PlaceFirst(error));
}

void HomeReader::Refuse(Element where, const std::string& what) const {
    throw HomeFileError(fileName_ + ":" + std::to_string(lines_.at(&where)) + ": " + what);
}

Home HomeReader::Read() {
    Element root = *root_;
    if (root.NodeGetName() != "home") {
        Refuse(root, "the root element is " + Quoted(root.NodeGetName()) + "; expected 'home'");
    }
    CheckChildren(root, {"controller"}, {"driver"});
    Home home;
    if (const DvXML::INode* controller = root.NodeFindChild("controller")) {
        CheckChildren(*controller, {"address"}, {});
        if (controller->NodeFindChild("address")) home.address = ReadAddress(*controller);
    }
    for (const DvXML::INode* child : root.NodeChildren())
        if (child->NodeGetName() == "driver") home.drivers.push_back(ReadDriver(*child));
    return home;
}

// Nothing in the file is ignored silently: a misspelt element is a fault with a line.
void HomeReader::CheckChildren(Element parent, std::initializer_list<std::string_view> once,
                               std::initializer_list<std::string_view> often) const {
    if (!DvXML::IsBlank(parent.NodeGetText())) {
        Refuse(parent, "there is text between the elements of " + Quoted(parent.NodeGetName()) +
                           "; expected nothing but elements");
    }
    std::set<std::string_view> seen;
    for (const DvXML::INode* child : parent.NodeChildren()) {
        const std::string_view name = child->NodeGetName();
        if (std::find(often.begin(), often.end(), name) != often.end()) continue;
        if (std::find(once.begin(), once.end(), name) == once.end()) {
            Refuse(*child, "unknown element " + Quoted(name) + " in " + Quoted(parent.NodeGetName()));
        }
        if (!seen.insert(name).second) {
            Refuse(*child,
                   "there is more than one element " + Quoted(name) + " in " + Quoted(parent.NodeGetName()));
        }
    }
}

std::string HomeReader::Text(Element parent, const char* name) const {
    const DvXML::INode* child = parent.NodeFindChild(name);
    if (!child) Refuse(parent, Quoted(parent.NodeGetName()) + " has no element " + Quoted(name));
    if (child->NodeChildCount() > 0) Refuse(*child, Quoted(name) + " has elements in it; expected text");
    return std::string(child->NodeGetText());
}

std::string HomeReader::ReadAddress(Element controller) const {
    const std::string address = Text(controller, "address");
    in_addr parsed{};
    if (!address.empty() && inet_pton(AF_INET, address.c_str(), &parsed) != 1) {
        Refuse(*controller.NodeFindChild("address"),
               "the address " + Quoted(address) +
                   " is not an IPv4 address; expected one like 192.168.1.10, or nothing");
    }
    return address;
}

DriverEntry HomeReader::ReadDriver(Element driver) {
    CheckChildren(driver, {"id", "name", "library", "config"}, {});
    DriverEntry entry;
    entry.id = ReadId(driver);
    entry.name = Text(driver, "name");
    CheckName(driver, entry.name);
    CheckUnique(driver, entry);
    entry.library = ReadLibrary(driver);
    entry.libraryPath = pluginFolder_ + "/" + entry.library + std::string(kLibraryEnding);
    if (!IsFile(entry.libraryPath)) {
        Refuse(driver, "the library " + Quoted(entry.library) + " of driver " + Quoted(entry.name) +
                           " is missing; expected it at " + entry.libraryPath);
    }
    const DvXML::INode* config = driver.NodeFindChild("config");
    entry.config = config ? config->NodeToText() : "<config/>";
    return entry;
}

unsigned long HomeReader::ReadId(Element driver) const {
    const std::string text = Text(driver, "id");
    const auto id = dv::ParseWhole<unsigned long>(text, 1, kMaxId);
    if (!id) {
        Refuse(*driver.NodeFindChild("id"),
               "the driver id " + Quoted(text) + " is not a number from 1 to " + std::to_string(kMaxId));
    }
    return *id;
}

void HomeReader::CheckName(Element driver, const std::string& name) const {
    if (IsFolderName(name)) return;
    Refuse(*driver.NodeFindChild("name"),
           "the driver name " + Quoted(name) + " cannot be the name of a folder; expected 1 to " +
               std::to_string(kMaxNameBytes) + " bytes without '/' that do not begin with '.'");
}

// Paths name a driver by either of the two, so no name may be the id of another driver.
void HomeReader::CheckUnique(Element driver, const DriverEntry& entry) {
    const int line = lines_.at(&driver);
    const auto [id, newId] = ids_.emplace(entry.id, line);
    if (!newId) {
        Refuse(driver,
               "the driver id " + std::to_string(entry.id) + " is used twice" + LineOfEarlier(id->second));
    }
    const auto [name, newName] = names_.emplace(entry.name, line);
    if (!newName) {
        Refuse(driver,
               "the driver name " + Quoted(entry.name) + " is used twice" + LineOfEarlier(name->second));
    }
    for (const auto& [otherId, otherLine] : ids_) {
        const auto other = names_.find(std::to_string(otherId));
        if (other == names_.end() || other->second == otherLine) continue;
        Refuse(driver, "the driver name " + Quoted(other->first) + " in line " +
                           std::to_string(other->second) + " is the id of the driver in line " +
                           std::to_string(otherLine));
    }
}

std::string HomeReader::ReadLibrary(Element driver) const {
    const std::string library = Text(driver, "library");
    if (IsLibraryName(library)) return library;
    Refuse(*driver.NodeFindChild("library"),
           "the library name " + Quoted(library) +
               " cannot be used; expected letters, digits, '_', '.', '+' and single '-', without folder and "
               "without the ending .so");
}

}  // namespace

Home ParseHome(std::string_view text, const std::string& fileName, const std::string& pluginFolder) {
    return HomeReader(text, fileName, pluginFolder).Read();
}

namespace {

std::string WarningOf(const std::string& path, const Home& home) {
    const auto hasPassword = [](const DriverEntry& driver) {
        return driver.config.find("<password>") != std::string::npos;
    };
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || (status.st_mode & (S_IRGRP | S_IROTH)) == 0) return "";
    const auto driver = std::ranges::find_if(home.drivers, hasPassword);
    if (driver == home.drivers.end()) return "";
    return path + " holds the password of " + driver->name +
           ", and other users may read it; run chmod 600 on it, or name a <passwordFile> instead";
}

}  // namespace

Home ReadHomeFile(const std::string& path, const std::string& pluginFolder) {
    try {
        Home home = ParseHome(PosixFileSystem().Read(path), path, pluginFolder);
        home.warning = WarningOf(path, home);
        return home;
    } catch (const FileError& error) {
        throw HomeFileError(std::string(error.what()) + "; --home must name the home file");
    }
}

}  // namespace driverhost
