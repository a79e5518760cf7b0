// The command message that the host builds from a request, and drivers for each other.
#ifndef HOST_GLUE_CMDMESSAGE_H
#define HOST_GLUE_CMDMESSAGE_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/glue/RefCount.h"
#include "host/interfaces/ICmdMessage.h"

namespace dv {

class DVHOST_API CmdMessage final : public RefCount<ICmdMessage> {
public:
    /// A message without parameters.
    static auto_com<CmdMessage> Create(std::string name);

    /// Appends a parameter; a repeated name is kept, and the first one counts when read.
    CmdMessage& AddParameter(std::string name, std::string value);

    // ICmdMessage
    const std::string& GetName() const override { return name_; }
    bool HasParameter(std::string_view name) const override;
    const std::string& GetString(std::string_view name) const override;
    int GetInt(std::string_view name) const override;
    unsigned long GetULong(std::string_view name) const override;
    auto_com<DvXML::INode> ToXml() const override;

private:
    explicit CmdMessage(std::string name) : name_(std::move(name)) {}
    ~CmdMessage() override = default;

    const std::string* Find(std::string_view name) const;

    std::string name_;
    std::vector<std::pair<std::string, std::string>> parameters_;
};

}  // namespace dv

#endif
