// Delivery of system events: changes of the home's project that concern every driver.
#ifndef HOST_INTERFACES_ISYSTEMEVENTCALLBACK_H
#define HOST_INTERFACES_ISYSTEMEVENTCALLBACK_H

#include "host/interfaces/DvXML.h"

class DVHOST_API ISystemEventCallback {
public:
    /// One event of a class that was registered for. The element has a named value "name" (the
    /// event's name) and one further child per parameter: a named value "name" beside its own
    /// text, which is the parameter's value: <param><name>iditem</name>42</param>. The node stays
    /// the host's.  [driver thread, between Initialize and OnDestroy]
    virtual void OnSystemEvent(DvXML::INode& event) = 0;

protected:
    ~ISystemEventCallback() = default;
};

#endif
