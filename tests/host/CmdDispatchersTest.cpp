#include "host/glue/CmdDispatchers.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "host/glue/CmdMessage.h"

namespace {

using dv::CmdMessage;
using testing::ElementsAre;

dv::auto_com<DvXML::INode> Echo(const ICmdMessage& message) {
    return message.ToXml();
}
dv::auto_com<DvXML::INode> NoReply(const ICmdMessage&) {
    return nullptr;
}
dv::auto_com<DvXML::INode> Throw(const ICmdMessage&) {
    throw std::runtime_error("handler");
}

template <class Dispatcher>
std::vector<std::string> Listed(const Dispatcher& dispatcher) {
    std::vector<std::string> lines;
    for (const CommandInfo& command : dispatcher.Commands())
        lines.push_back(command.name + ": " + command.help);
    return lines;
}

TEST(UICmdDispatcher, StoresTheHandlersReply) {
    UICmdDispatcher dispatcher;
    EXPECT_EQ(0, dispatcher.RegisterUICmd("echo", &Echo));
    dv::auto_com<DvXML::INode> reply;
    EXPECT_TRUE(dispatcher.Dispatch(*CmdMessage::Create("echo"), reply));
    ASSERT_TRUE(reply);
    EXPECT_EQ("<echo/>", reply->NodeToText());
}

TEST(UICmdDispatcher, NoReplyDiffersFromNoSuchCommand) {
    UICmdDispatcher dispatcher;
    dispatcher.RegisterUICmd("silent", &NoReply);
    auto reply = DvXML::CreateXmlNode("old", "");
    EXPECT_TRUE(dispatcher.Dispatch(*CmdMessage::Create("silent"), reply));
    EXPECT_FALSE(reply);
    reply = DvXML::CreateXmlNode("old", "");
    EXPECT_FALSE(dispatcher.Dispatch(*CmdMessage::Create("Silent"), reply));
    EXPECT_FALSE(reply);
}

TEST(UICmdDispatcher, WhatTheHandlerThrowsPassesThrough) {
    UICmdDispatcher dispatcher;
    dispatcher.RegisterUICmd("throw", &Throw);
    auto reply = DvXML::CreateXmlNode("old", "");
    EXPECT_THROW(dispatcher.Dispatch(*CmdMessage::Create("throw"), reply), std::runtime_error);
    EXPECT_FALSE(reply);
}

TEST(UICmdDispatcher, EmptyAndTakenNamesAndEmptyHandlersAreRefused) {
    UICmdDispatcher dispatcher;
    EXPECT_LT(dispatcher.RegisterUICmd("", &Echo), 0);
    EXPECT_LT(dispatcher.RegisterUICmd("a", UICmdHandler()), 0);
    EXPECT_EQ(0, dispatcher.RegisterUICmd("a", &Echo, "first"));
    EXPECT_LT(dispatcher.RegisterUICmd("a", &NoReply, "second"), 0);
    EXPECT_THAT(Listed(dispatcher), ElementsAre("a: first"));
    dv::auto_com<DvXML::INode> reply;
    dispatcher.Dispatch(*CmdMessage::Create("a"), reply);
    EXPECT_TRUE(reply);
}

TEST(UICmdDispatcher, ListsCommandsInTheOrderOfRegistration) {
    UICmdDispatcher dispatcher;
    dispatcher.RegisterUICmd("z", &Echo, "last letter");
    dispatcher.RegisterUICmd("a", &Echo);
    dispatcher.RegisterUICmd("m", &Echo, "middle");
    EXPECT_THAT(Listed(dispatcher), ElementsAre("z: last letter", "a: ", "m: middle"));
}

TEST(UICmdDispatcher, HandlerMayRegisterFurtherCommands) {
    UICmdDispatcher dispatcher;
    dispatcher.RegisterUICmd("grow", [&](const ICmdMessage& message) {
        for (int i = 0; i < 1000; ++i)
            dispatcher.RegisterUICmd("c" + std::to_string(i), &Echo);
        return message.ToXml();
    });
    dv::auto_com<DvXML::INode> reply;
    EXPECT_TRUE(dispatcher.Dispatch(*CmdMessage::Create("grow"), reply));
    EXPECT_TRUE(dispatcher.Dispatch(*CmdMessage::Create("c999"), reply));
}

TEST(CmdDispatcher, RunsTheHandlerOfThatName) {
    CmdDispatcher dispatcher;
    std::vector<std::string> calls;
    const auto note = [&](const ICmdMessage& message) { calls.push_back(message.GetString("p")); };
    EXPECT_EQ(0, dispatcher.RegisterCmd1("a", note, "notes"));
    const auto message = CmdMessage::Create("a");
    message->AddParameter("p", "1");
    EXPECT_TRUE(dispatcher.Dispatch(*message));
    EXPECT_FALSE(dispatcher.Dispatch(*CmdMessage::Create("b")));
    EXPECT_THAT(calls, ElementsAre("1"));
    EXPECT_THAT(Listed(dispatcher), ElementsAre("a: notes"));
}

TEST(CmdDispatcher, EmptyAndTakenNamesAndEmptyHandlersAreRefused) {
    CmdDispatcher dispatcher;
    const auto ignore = [](const ICmdMessage&) {};
    EXPECT_LT(dispatcher.RegisterCmd1("", ignore), 0);
    EXPECT_LT(dispatcher.RegisterCmd1("a", CmdHandler()), 0);
    EXPECT_EQ(0, dispatcher.RegisterCmd1("a", ignore));
    EXPECT_LT(dispatcher.RegisterCmd1("a", ignore), 0);
    EXPECT_EQ(1U, dispatcher.Commands().size());
}

TEST(CmdDispatcher, WhatTheHandlerThrowsPassesThrough) {
    CmdDispatcher dispatcher;
    dispatcher.RegisterCmd1("throw", [](const ICmdMessage&) { throw std::runtime_error("handler"); });
    EXPECT_THROW(dispatcher.Dispatch(*CmdMessage::Create("throw")), std::runtime_error);
}

}  // namespace
