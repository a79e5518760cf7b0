#include "driverhost/state/StateRoots.h"

#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"
#include "host/glue/XmlText.h"

namespace driverhost {
namespace {

constexpr char kFolder[] = ".libraries";  // no driver's: their names do not begin with a dot
constexpr char kWriter[] = "driverhost";

// The name as the text has it: it differs from the node's where that is a name that XML forbids.
std::string_view RootOf(std::string_view document) {
    const std::size_t end = document.find_first_of(" />");
    if (!document.starts_with('<') || end == std::string_view::npos) return {};
    return document.substr(1, end - 1);
}

}  // namespace

StateRoots::StateRoots(StateStore& store) : store_(store) {
    store_.AddDriver(kFolder, kWriter);
}

void StateRoots::Load() {
    const LoadedState loaded =
        store_.Load(kFolder, [this](std::string_view document) { return CheckText(kWriter, document); });
    const auto libraries = DvXML::ParseRoot(loaded.document.value_or(std::string()));
    if (!libraries) return;
    for (const DvXML::INode* library : libraries->NodeChildren())
        roots_[std::string(library->NodeGetNamedValue("name"))] = library->NodeGetNamedValue("root");
}

std::string StateRoots::Find(const std::string& library) const {
    const auto found = roots_.find(library);
    return found == roots_.end() ? std::string() : found->second;
}

void StateRoots::Learn(const std::string& library, std::string_view document) {
    const std::string_view root = RootOf(document);
    if (root.empty() || root == Find(library)) return;
    roots_[library] = root;
    Store();
}

// A failure to store is no reason to hold up anybody: the next process learns the root again.
void StateRoots::Store() {
    const auto libraries = DvXML::CreateXmlNode("libraries", "");
    for (const auto& [name, root] : roots_) {
        const auto library = DvXML::CreateXmlNode("library", "");
        library->NodeAddNamedValue("name", name);
        library->NodeAddNamedValue("root", root);
        libraries->NodeAddChild(library.get());
    }
    const auto document = std::make_shared<const std::string>(libraries->NodeToText());
    store_.Write(kFolder, document, [](const StoreResult& result) {
        if (result.error.empty()) return;
        HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                       "what the libraries write could not be stored: " + result.error);
    });
}

Fault StateRoots::Check(const std::string& library, const DvXML::INode& root) const {
    const std::string known = Find(library);
    if (known.empty() || root.NodeGetName() == known) return {};
    return "its root element is '" + std::string(root.NodeGetName()) + "', but the library " + library +
           " writes '" + known + "'";
}

Fault StateRoots::CheckText(const std::string& library, std::string_view document) const {
    const auto parsed = DvXML::CreateXmlDocument("");
    if (parsed->DocumentParse(document) != 0) return "not XML: " + parsed->DocumentGetError();
    return Check(library, *parsed->DocumentGetRoot());
}

}  // namespace driverhost
