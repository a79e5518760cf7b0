#include "driverhost/plugins/InstanceManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "host/glue/Assert.h"
#include "host/interfaces/ISystemEventCallback.h"
#include "tests/driverhost/support/HostFixture.h"

namespace driverhost {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class DeafListener final : public ISystemEventCallback {
public:
    void OnSystemEvent(DvXML::INode&) override { ++heard; }

    int heard = 0;
};

class InstanceManagerTest : public HostFixture {
protected:
    class Owner final : public InstanceOwner, public StateSource {
    public:
        const std::string& Name() const override { return name_; }
        StateKeeper::Key StateKey() const override { return key; }
        IDriverManager& Manager() override { throw std::logic_error("not asked for here"); }
        std::string CallDriver(const char* call, const std::function<void()>& work) override {
            calls.push_back(call);
            work();
            return {};
        }
        PulledState PullState() override { return {document, {}}; }

        StateKeeper::Key key = 0;
        std::string document = "<s/>";
        std::vector<std::string> calls;

    private:
        const std::string name_ = "lamp";
    };

    InstanceManagerTest() {
        owner_.key = keeper_.Add(owner_, "probe");
        manager_ = std::make_shared<InstanceManager>(owner_, services_);
        other_ = std::make_shared<InstanceManager>(owner_, services_);
    }

    Owner owner_;
    std::shared_ptr<InstanceManager> manager_;
    std::shared_ptr<InstanceManager> other_;
    int object_ = 0;
};

TEST_F(InstanceManagerTest, AnInterfaceIsPublishedOnce) {
    EXPECT_EQ(manager_->InstanceRegisterInterface("X", &object_), 0);
    EXPECT_LT(other_->InstanceRegisterInterface("X", &owner_), 0);
    EXPECT_EQ(other_->InstanceFindInterface("X"), &object_);
    EXPECT_LT(manager_->InstanceRegisterInterface("", &object_), 0);
    EXPECT_LT(manager_->InstanceRegisterInterface("Y", nullptr), 0);
    EXPECT_EQ(other_->InstanceFindInterface("Y"), nullptr);
}

TEST_F(InstanceManagerTest, OnlyItsPublisherWithdrawsAnInterface) {
    manager_->InstanceRegisterInterface("X", &object_);
    EXPECT_LT(other_->InstanceUnregisterInterface("X"), 0);
    EXPECT_EQ(manager_->InstanceUnregisterInterface("X"), 0);
    EXPECT_LT(manager_->InstanceUnregisterInterface("X"), 0);
    EXPECT_EQ(other_->InstanceFindInterface("X"), nullptr);
}

TEST_F(InstanceManagerTest, WithdrawAllTakesItsOwnThingsOnly) {
    DeafListener own;
    DeafListener others;
    manager_->InstanceRegisterInterface("X", &object_);
    other_->InstanceRegisterInterface("Y", &object_);
    manager_->RegisterListener(own, 8, 0);
    other_->RegisterListener(others, 8, 0);
    manager_->WithdrawAll();
    systemEvents_.Deliver({8, "E", {}}, [](const void*, const std::function<void()>& call) { call(); });
    EXPECT_EQ(manager_->InstanceFindInterface("X"), nullptr);
    EXPECT_EQ(manager_->InstanceFindInterface("Y"), &object_);
    EXPECT_EQ(own.heard, 0);
    EXPECT_EQ(others.heard, 1);
}

TEST_F(InstanceManagerTest, ANotificationIsWrittenBeforeTheCallReturns) {
    const auto element = DvXML::CreateXmlNode("Changed", "a\nb");
    manager_->SendDataToUI(*element);
    element->NodeAddNamedValue("later", "1");
    EXPECT_THAT(uiEvents_, ElementsAre("<Changed>a&#10;b</Changed>"));
    EXPECT_EQ(metrics_.OfDriver("lamp").uiEvents, 1U);
}

TEST_F(InstanceManagerTest, AMarkPullsNothingByItself) {
    manager_->InvalidateState();
    EXPECT_FALSE(keeper_.IsSettled());
    EXPECT_EQ(metrics_.OfDriver("lamp").stateMarks, 1U);
    keeper_.Settle();
    TurnUntil([this] { return StoredState("lamp") == "<s/>"; });
}

TEST_F(InstanceManagerTest, PostedWorkRunsLaterInItsOrder) {
    std::string ran;
    manager_->PostToDriverThread([&] { ran += "a"; });
    manager_->PostToDriverThread([&] { ran += "b"; });
    EXPECT_EQ(ran, "");
    Turn();
    EXPECT_EQ(ran, "ab");
    EXPECT_THAT(owner_.calls, ElementsAre("posted work", "posted work"));
}

TEST_F(InstanceManagerTest, WhatPostedWorkMarksIsStored) {
    manager_->PostToDriverThread([this] { manager_->InvalidateState(); });
    TurnUntil([this] { return StoredState("lamp") == "<s/>"; });
}

TEST_F(InstanceManagerTest, WorkOfADriverThatIsGoneIsDropped) {
    const auto token = std::make_shared<int>(0);
    bool ran = false;
    manager_->PostToDriverThread([&ran, token] { ran = true; });
    manager_->Close();
    EXPECT_EQ(token.use_count(), 1);
    manager_->PostToDriverThread([&ran, token] { ran = true; });
    EXPECT_EQ(token.use_count(), 1);
    Turn();
    EXPECT_FALSE(ran);
}

TEST_F(InstanceManagerTest, WorkOfAManagerThatIsGoneIsDropped) {
    bool ran = false;
    manager_->PostToDriverThread([&] { ran = true; });
    manager_.reset();
    Turn();
    EXPECT_FALSE(ran);
}

TEST_F(InstanceManagerTest, PostingIsForAnyThread) {
    std::atomic<bool> onDriverThread = false;
    std::thread other([&] { manager_->PostToDriverThread([&] { onDriverThread = thread_.IsCurrent(); }); });
    other.join();
    Turn();
    EXPECT_TRUE(onDriverThread);
}

class WrongThread : public InstanceManagerTest {
protected:
    WrongThread() {
        dv::SetAssertObserver([this](const char*, int) { ++asserts_; });
    }
    ~WrongThread() override { dv::SetAssertObserver({}); }

    /// What is logged while another thread makes `call`.
    template <class Call>
    std::string LogOfOtherThread(Call call) {
        testing::internal::CaptureStderr();
        std::thread(call).join();
        return testing::internal::GetCapturedStderr();
    }

    std::atomic<int> asserts_ = 0;
};

TEST_F(WrongThread, IsReportedInTheDriversName) {
    EXPECT_THAT(
        LogOfOtherThread([this] { manager_->InvalidateState(); }),
        HasSubstr(" 3 lamp InvalidateState was called outside the driver thread; use PostToDriverThread"));
#ifndef NDEBUG
    EXPECT_EQ(asserts_, 1);
#endif
}

TEST_F(WrongThread, ChangesNothingAtOnce) {
    DeafListener listener;
    const auto reader = readers_.Open(manager_.get());
    LogOfOtherThread([&] {
        EXPECT_LT(manager_->InstanceRegisterInterface("X", &object_), 0);
        EXPECT_EQ(manager_->InstanceFindInterface("X"), nullptr);
        EXPECT_LT(manager_->RegisterListener(listener, 1, 0), 0);
        EXPECT_LT(manager_->UnregisterListener(listener, 1, 0), 0);
        EXPECT_FALSE(manager_->SendDataToReader(reader->Number(), *DvXML::CreateXmlNode("e", "")));
        manager_->SendDataToUI(*DvXML::CreateXmlNode("e", ""));
        manager_->InvalidateState();
    });
    EXPECT_THAT(uiEvents_, IsEmpty());
    EXPECT_TRUE(keeper_.IsSettled());
}

TEST_F(WrongThread, MarksAndNotificationsArriveStill) {
    LogOfOtherThread([&] {
        manager_->SendDataToUI(*DvXML::CreateXmlNode("e", ""));
        manager_->InvalidateState();
    });
    TurnUntil([this] { return StoredState("lamp") == "<s/>"; });
    EXPECT_THAT(uiEvents_, ElementsAre("<e/>"));
}

}  // namespace
}  // namespace driverhost
