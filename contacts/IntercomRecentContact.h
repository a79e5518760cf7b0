// One recent call, as the device driver that took part reported it.
//
// Its element: <recentContact> with "id", "displayName", "aor", "callTime", "callLength",
// "receivedCall" and "acceptedCall". It is never saved.
#ifndef CONTACTS_INTERCOMRECENTCONTACT_H
#define CONTACTS_INTERCOMRECENTCONTACT_H

#include <string>

#include "host/glue/LiveObjects.h"
#include "host/interfaces/DvXML.h"

/// Never changed after construction.  All operations: [driver thread]
class IntercomRecentContact : private dv::Counted {
public:
    /// The texts are kept as given and never interpreted.
    IntercomRecentContact(int id, const std::string& displayName, const std::string& address,
                          const std::string& callTime, const std::string& callLength, bool receivedCall,
                          bool acceptedCall);
    virtual ~IntercomRecentContact();

    int GetId() const { return id_; }

    /// A new element; the caller holds its one reference.
    dv::auto_com<DvXML::INode> ToXml() const;

private:
    const int id_;
    const std::string displayName_;
    const std::string address_;
    const std::string callTime_;
    const std::string callLength_;
    const bool receivedCall_;
    const bool acceptedCall_;
};

#endif
