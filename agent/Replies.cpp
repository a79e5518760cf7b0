#include "agent/Replies.h"

#include "host/glue/Numbers.h"

namespace Replies {

Reply Success() {
    return DvXML::CreateXmlNode("success", "");
}

Reply Fail(const std::string& reason) {
    return DvXML::CreateXmlNode("fail", reason);
}

Reply Failed() {
    return DvXML::CreateXmlNode("failed", "");
}

Reply None() {
    return nullptr;
}

Reply UnableToFind(const std::string& key) {
    return Fail("Unable to find sip entity " + key + ".");
}

Reply UnableToErase(const std::string& key) {
    return Fail("Unable to erase sip entity " + key + ", entity not found.");
}

Reply NoEntityAt(unsigned long index) {
    // The two spaces stay: clients compare the text.
    return Fail("No entity located at index " + dv::ToString(static_cast<unsigned int>(index)) +
                ".  Not that many items");
}

}  // namespace Replies
