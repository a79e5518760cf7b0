// Any document as the agent's saved state: the agent starts with it, and what it writes is read
// by a fresh agent and written the same.
#include "fuzz/AgentHome.h"
#include "fuzz/StateDocument.h"
#include "host/glue/XmlText.h"

namespace {

class Home final : public fuzz::AgentHome {
public:
    /// What an agent writes that was started with the state.
    std::string StateAfter(DvXML::INode& saved) {
        Create();
        Driver().Initialize(kDriverId, *DvXML::CreateXmlNode("config", ""), &saved);
        std::string state = State();
        Stop();
        Delete();
        return state;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (const auto saved = DvXML::ParseRoot(fuzz::Bytes(data, size))) {
        Home home;
        fuzz::RequireSettles(home.StateAfter(*saved));
    }
    fuzz::RequireExpectations();
    fuzz::RequireNothingAlive();
    return 0;
}
