// A named command with named text parameters, as the host delivers it to a driver.
#ifndef HOST_INTERFACES_ICMDMESSAGE_H
#define HOST_INTERFACES_ICMDMESSAGE_H

#include <string>
#include <string_view>

#include "host/interfaces/DvXML.h"

/// Read-only for whoever receives it. Of a repeated parameter the first counts. An absent
/// parameter reads as empty text and 0; it is not an error. Views and references stay valid
/// as long as the message.  All operations: [driver thread]
class DVHOST_API ICmdMessage : public dv::IRefCounted {
public:
    /// The command's name, matched exactly, case included.
    virtual const std::string& GetName() const = 0;

    /// True when the message carries the parameter, be it empty.
    virtual bool HasParameter(std::string_view name) const = 0;

    /// The parameter's text as it stands; a reference to an empty string when absent.
    virtual const std::string& GetString(std::string_view name) const = 0;

    /// The parameter as a signed number (dv::ParseInt).
    virtual int GetInt(std::string_view name) const = 0;

    /// The parameter as an id or index, 0 to 4294967295 (dv::ParseULong).
    virtual unsigned long GetULong(std::string_view name) const = 0;

    /// One element named after the command with one named value per parameter, in the order
    /// in which the message was built, repeats included. Never null.
    virtual dv::auto_com<DvXML::INode> ToXml() const = 0;

protected:
    ~ICmdMessage() override;
};

#endif
