#include <gmock/gmock.h>

#include "host/glue/Log.h"
#include "host/glue/RefCount.h"
#include "tests/host/Xml.h"

namespace {

using DvXML::INode;
using testing::HasSubstr;

// A node of somebody else's making.
class StrangeNode final : public dv::RefCount<INode> {
public:
    std::string_view NodeGetName() const override { return "strange"; }
    std::string_view NodeGetText() const override { return ""; }
    int NodeGetIntValue() const override { return 0; }
    void NodeAddChild(INode*) override {}
    void NodeAddNamedValue(std::string_view, std::string_view) override {}
    void NodeAddNamedInt(std::string_view, int) override {}
    void NodeAddNamedULong(std::string_view, unsigned long) override {}
    void NodeAddNamedBool(std::string_view, bool) override {}
    std::string_view NodeGetNamedValue(std::string_view) const override { return ""; }
    int NodeGetNamedInt(std::string_view) const override { return 0; }
    INode* NodeFindChild(std::string_view) const override { return nullptr; }
    std::size_t NodeChildCount() const override { return 0; }
    INode* NodeChildAt(std::size_t) const override { return nullptr; }
    void NodeSetAttribute(std::string_view, std::string_view) override {}
    std::string_view NodeGetAttribute(std::string_view) const override { return ""; }
    void NodeSetBoolAttribute(std::string_view, bool) override {}
    bool NodeGetBoolAttribute(std::string_view) const override { return false; }
    std::string NodeToText() const override { return "<strange/>"; }

private:
    ~StrangeNode() override = default;
};

TEST(ForeignNode, AsAChildIsRefusedWithALogLine) {
    const auto stranger = dv::auto_com<StrangeNode>::adopt(new StrangeNode);
    const auto node = test::NewNode("a");
    std::string logged;
    dv::SetLogSink([&](unsigned int, const std::string& text) { logged = text; });
    node->NodeAddChild(stranger.get());
    dv::SetLogSink({});
    EXPECT_EQ("<a/>", node->NodeToText());
    EXPECT_THAT(logged, HasSubstr("CreateXmlNode"));
}

}  // namespace
