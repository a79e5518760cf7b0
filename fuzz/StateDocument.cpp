#include "fuzz/StateDocument.h"

#include <memory>
#include <string_view>

#include "agent/IntercomAgent.h"
#include "fuzz/Fuzz.h"
#include "groups/IntercomGroup.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Recorder.h"

namespace fuzz {
namespace {

constexpr unsigned long kAgentId = 1;
// The phones of one contact are kept under texts that begin with their positions, so that the
// order of more than ten is another one each time.
constexpr std::size_t kOrderedPhones = 10;
// Written for what XML cannot carry: texts that were different may be the same now.
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

bool HasManyPhones(const DvXML::INode& state) {
    for (const DvXML::INode* contact : state.NodeFindChild("contacts")->NodeChildren())
        if (contact->NodeFindChild("phoneType")->NodeChildCount() > kOrderedPhones) return true;
    return false;
}

// A group that was renamed to the reserved name is not read again.
bool HasReservedGroup(const DvXML::INode& state) {
    for (const DvXML::INode* group : state.NodeFindChild("groups")->NodeChildren())
        if (group->NodeGetNamedValue("name") == IntercomGroup::kAllName) return true;
    return false;
}

std::string WrittenAfter(DvXML::INode& state) {
    test::Recorder unheard;
    test::FakeHost host(unheard);
    const std::unique_ptr<IDriver> agent(IntercomAgent::Create(host));
    agent->Initialize(kAgentId, *DvXML::CreateXmlNode("config", ""), &state);
    std::string written = agent->GetPersistState(0)->NodeToText();
    agent->OnDestroy();
    return written;
}

}  // namespace

void RequireSettles(const std::string& state) {
    const auto read = RequireXml("the state", state);
    const std::string second = WrittenAfter(*read);
    if (HasManyPhones(*read)) return;
    const bool maySettle = HasReservedGroup(*read) || state.find(kReplacement) != std::string::npos;
    if (!maySettle) return RequireEqual("a state that is read and written", state, second);
    const auto readAgain = RequireXml("the state that was put right", second);
    RequireEqual("a state that is put right, read and written", second, WrittenAfter(*readAgain));
}

}  // namespace fuzz
