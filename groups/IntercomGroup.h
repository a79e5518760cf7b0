// A named, ordered list of device ids, which user interfaces address together.
//
// Its element: <group><groupId>1</groupId><name>Kitchen</name><devices><device>5</device></devices></group>;
// a group without devices has no "devices".
#ifndef GROUPS_INTERCOMGROUP_H
#define GROUPS_INTERCOMGROUP_H

#include <string>
#include <vector>

#include "host/glue/LiveObjects.h"
#include "host/interfaces/DvXML.h"

/// All operations: [driver thread]
class IntercomGroup {
public:
    /// The group of all devices but door stations. It is computed when asked for, never stored.
    static constexpr int kAllId = 0;
    static constexpr char kAllName[] = "All";

    IntercomGroup(int id, const std::string& name);
    /// Reads the element written by toXml; not null. An absent child reads as 0, empty, or no devices.
    explicit IntercomGroup(DvXML::INode* node);

    int GetGroupId() const { return groupId_; }
    const std::string& GetName() const { return name_; }
    void SetName(const std::string& name) { name_ = name; }

    /// Replaces `out` by the ids in their order.
    void GetGroupList(std::vector<unsigned long>& out) const { out = devices_; }
    /// Takes the ids as given, duplicates included.
    void SetGroupList(const std::vector<unsigned long>& ids) { devices_ = ids; }

    /// Appends the id unless it is there already.
    void AddToGroup(unsigned long id);
    /// Takes out the first occurrence of the id, if any.
    void RemoveFromGroup(unsigned long id);

    /// A new element; the caller holds its one reference.
    dv::auto_com<DvXML::INode> toXml() const;

private:
    std::vector<unsigned long> devices_;
    std::string name_;
    int groupId_;
    [[no_unique_address]] dv::Counted counted_;
};

#endif
