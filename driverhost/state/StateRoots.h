// Knows which root element each library writes: a driver that is given a document of another kind reads it as
// an empty one and forgets everything.
//
// A library's root is learnt from the documents that its drivers give, and kept beside the states, in the
// folder ".libraries", in the same form as they are:
//
//     <libraries><library><name>intercom_agent</name><root>IntercomState</root></library></libraries>
#ifndef DRIVERHOST_STATE_STATEROOTS_H
#define DRIVERHOST_STATE_STATEROOTS_H

#include <map>
#include <string>
#include <string_view>

#include "driverhost/runtime/Fault.h"
#include "driverhost/state/StateStore.h"
#include "host/interfaces/DvXML.h"

namespace driverhost {

/// All operations: [driver thread]
class StateRoots {
public:
    explicit StateRoots(StateStore& store);

    /// Reads what earlier processes learnt. Throws FileError.
    void Load();

    /// The root element that drivers of the library write; empty when none has given a document yet.
    std::string Find(const std::string& library) const;

    /// A driver of the library gave this document. A library that changes what it writes is
    /// believed at once.
    void Learn(const std::string& library, std::string_view document);

    /// Can a driver of the library use this document, as far as known?
    Fault Check(const std::string& library, const DvXML::INode& root) const;
    /// The same of a text, which must be XML. [any thread, while the driver thread waits]
    Fault CheckText(const std::string& library, std::string_view document) const;

private:
    void Store();

    StateStore& store_;
    std::map<std::string, std::string> roots_;  // by library
};

}  // namespace driverhost

#endif
