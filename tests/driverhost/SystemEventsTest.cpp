#include "driverhost/runtime/SystemEvents.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace driverhost {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Listener final : public ISystemEventCallback {
public:
    void OnSystemEvent(DvXML::INode& event) override {
        heard.push_back(event.NodeToText());
        event.NodeAddNamedValue("spoiled", "by me");
        if (onEvent) onEvent();
    }

    std::vector<std::string> heard;
    std::function<void()> onEvent;
};

class SystemEventsTest : public testing::Test {
protected:
    void Deliver(unsigned int eventClass) {
        events_.Deliver({eventClass, "Tick", {}},
                        [this](const void* owner, const std::function<void()>& call) {
                            owners_.push_back(owner);
                            call();
                        });
    }

    SystemEvents events_;
    std::vector<const void*> owners_;
    Listener first_;
    Listener second_;
};

TEST_F(SystemEventsTest, TheElementHoldsTheNameAndEveryParameterInOrder) {
    const SystemEvent event{11, "OnItemRemoved", {{"iditem", "42"}, {"text", " a "}, {"iditem", "43"}}};
    EXPECT_EQ(BuildEventElement(event)->NodeToText(),
              "<event><name>OnItemRemoved</name><param>42<name>iditem</name></param>"
              "<param> a <name>text</name></param><param>43<name>iditem</name></param></event>");
}

TEST_F(SystemEventsTest, OnlyListenersOfTheClassHearIt) {
    events_.Register(first_, 11, 0, this);
    events_.Register(second_, 8, 0, this);
    Deliver(11);
    EXPECT_THAT(first_.heard, ElementsAre("<event><name>Tick</name></event>"));
    EXPECT_THAT(second_.heard, IsEmpty());
}

TEST_F(SystemEventsTest, EachListenerGetsAnElementOfItsOwnAndIsCalledInItsOwnersName) {
    events_.Register(first_, 11, 0, &first_);
    events_.Register(second_, 11, 0, &second_);
    Deliver(11);
    EXPECT_THAT(second_.heard, ElementsAre("<event><name>Tick</name></event>"));
    EXPECT_THAT(owners_, ElementsAre(&first_, &second_));
}

TEST_F(SystemEventsTest, TheSameThreeAreRegisteredOnce) {
    EXPECT_EQ(events_.Register(first_, 11, 0, this), 0);
    EXPECT_LT(events_.Register(first_, 11, 0, this), 0);
    EXPECT_EQ(events_.Register(first_, 11, 1, this), 0);
    EXPECT_EQ(events_.Unregister(first_, 11, 0), 0);
    EXPECT_LT(events_.Unregister(first_, 11, 0), 0);
    Deliver(11);
    EXPECT_EQ(first_.heard.size(), 1U);
}

TEST_F(SystemEventsTest, AListenerUnregisteredMeanwhileHearsNothingMore) {
    events_.Register(first_, 11, 0, this);
    events_.Register(second_, 11, 0, this);
    first_.onEvent = [this] { events_.Unregister(second_, 11, 0); };
    Deliver(11);
    EXPECT_THAT(second_.heard, IsEmpty());
}

TEST_F(SystemEventsTest, AListenerMayTakeItselfAway) {
    events_.Register(first_, 11, 0, this);
    events_.Register(second_, 11, 0, this);
    first_.onEvent = [this] { events_.Unregister(first_, 11, 0); };
    Deliver(11);
    EXPECT_EQ(second_.heard.size(), 1U);
}

TEST_F(SystemEventsTest, AListenerRegisteredMeanwhileHearsTheNextEvent) {
    events_.Register(first_, 11, 0, this);
    first_.onEvent = [this] { events_.Register(second_, 11, 0, this); };
    Deliver(11);
    EXPECT_THAT(second_.heard, IsEmpty());
    Deliver(11);
    EXPECT_EQ(second_.heard.size(), 1U);
}

TEST_F(SystemEventsTest, WithdrawingTakesAwayOneOwnersListeners) {
    events_.Register(first_, 11, 0, &first_);
    events_.Register(first_, 8, 0, &first_);
    events_.Register(second_, 11, 0, &second_);
    events_.WithdrawAll(&first_);
    Deliver(11);
    Deliver(8);
    EXPECT_THAT(first_.heard, IsEmpty());
    EXPECT_EQ(second_.heard.size(), 1U);
}

}  // namespace
}  // namespace driverhost
