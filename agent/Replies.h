// The elements with which UI commands answer, one helper for each.
#ifndef AGENT_REPLIES_H
#define AGENT_REPLIES_H

#include <string>

#include "host/interfaces/DvXML.h"

namespace Replies {

using Reply = dv::auto_com<DvXML::INode>;

/// <success/>
Reply Success();
/// <fail> with the reason, where there is one.
Reply Fail(const std::string& reason = "");
/// <failed/>, the word of removeService.
Reply Failed();
/// The command is handled and answers with no element.
Reply None();

/// Failures that the device registry and the SIP records share.
Reply UnableToFind(const std::string& key);
Reply UnableToErase(const std::string& key);
Reply NoEntityAt(unsigned long index);

}  // namespace Replies

#endif
