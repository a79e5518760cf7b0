#include "driverhost/state/StateKeeper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/driverhost/support/HostFixture.h"

namespace driverhost {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class StateKeeperTest : public HostFixture {
protected:
    class Source final : public StateSource {
    public:
        explicit Source(std::string name) : name_(std::move(name)) {}
        const std::string& Name() const override { return name_; }
        PulledState PullState() override {
            ++pulls;
            return pulled;
        }

        PulledState pulled{"<s/>", {}};
        int pulls = 0;

    private:
        const std::string name_;
    };

    StateKeeperTest() {
        lampKey_ = keeper_.Add(lamp_, "probe");
        shutterKey_ = keeper_.Add(shutter_, "probe");
    }

    void Change(const std::string& document) {
        lamp_.pulled.document = document;
        keeper_.Mark(lampKey_);
    }

    /// Settles; the answer goes to answers_.
    void Settle() {
        keeper_.Settle([this](const std::string& error) { answers_.push_back(error); });
    }

    void TurnUntilAnswers(std::size_t count) {
        TurnUntil([&] { return answers_.size() >= count; });
    }

    const DriverCounters& Counters() { return metrics_.OfDriver("lamp"); }

    Source lamp_{"lamp"};
    Source shutter_{"shutter"};
    StateKeeper::Key lampKey_ = 0;
    StateKeeper::Key shutterKey_ = 0;
    std::vector<std::string> answers_;
};

TEST_F(StateKeeperTest, WithoutAMarkTheAnswerComesAtOnce) {
    Settle();
    EXPECT_THAT(answers_, ElementsAre(""));
    EXPECT_EQ(lamp_.pulls, 0);
}

TEST_F(StateKeeperTest, TheAnswerComesWhenTheDocumentIsOnDisk) {
    Change("<s>1</s>");
    Settle();
    EXPECT_THAT(answers_, IsEmpty());
    TurnUntilAnswers(1);
    EXPECT_THAT(answers_, ElementsAre(""));
    EXPECT_EQ(StoredState("lamp"), "<s>1</s>");
    EXPECT_EQ(Counters().stateWrites, 1U);
}

TEST_F(StateKeeperTest, ManyMarksOfOneCallPullOnce) {
    Change("<s>1</s>");
    Change("<s>2</s>");
    Settle();
    TurnUntilAnswers(1);
    EXPECT_EQ(lamp_.pulls, 1);
    EXPECT_EQ(Counters().stateMarks, 2U);
    EXPECT_EQ(StoredState("lamp"), "<s>2</s>");
}

TEST_F(StateKeeperTest, MarksDuringAWriteShareTheNextOne) {
    for (int change = 1; change <= 10; ++change) {
        Change("<s>" + std::to_string(change) + "</s>");
        Settle();
    }
    TurnUntilAnswers(10);
    EXPECT_EQ(Counters().stateWrites, 2U);
    EXPECT_EQ(lamp_.pulls, 2);
    EXPECT_EQ(StoredState("lamp"), "<s>10</s>");
}

TEST_F(StateKeeperTest, ACallThatMarkedTwoDriversWaitsForBoth) {
    Change("<s>1</s>");
    keeper_.Mark(shutterKey_);
    Settle();
    TurnUntilAnswers(1);
    EXPECT_EQ(StoredState("lamp"), "<s>1</s>");
    EXPECT_EQ(StoredState("shutter"), "<s/>");
}

TEST_F(StateKeeperTest, TheSameDocumentIsNotWrittenAgain) {
    Change("<s>1</s>");
    Settle();
    TurnUntilAnswers(1);
    Change("<s>1</s>");
    Settle();
    EXPECT_THAT(answers_, ElementsAre("", ""));
    EXPECT_EQ(Counters().stateWrites, 1U);
}

TEST_F(StateKeeperTest, ADriverWithoutStateHasNothingToStore) {
    lamp_.pulled.document.reset();
    keeper_.Mark(lampKey_);
    Settle();
    EXPECT_THAT(answers_, ElementsAre(""));
    EXPECT_EQ(StoredState("lamp"), "");
}

TEST_F(StateKeeperTest, AFailureIsAnsweredWithItsReasonAndShown) {
    disk_.FailAll(true);
    Change("<s>1</s>");
    Settle();
    TurnUntilAnswers(1);
    EXPECT_THAT(answers_[0], HasSubstr("No space left on device"));
    EXPECT_THAT(keeper_.Trouble(), HasSubstr("the state of driver lamp is not stored: cannot "));
    EXPECT_GE(Counters().stateWriteFailures, 1U);
    disk_.FailAll(false);
}

TEST_F(StateKeeperTest, StoringIsTriedAgainByItself) {
    disk_.FailAll(true);
    Change("<s>1</s>");
    Settle();
    TurnUntilAnswers(1);
    lamp_.pulled.document = "<s>newest</s>";
    disk_.FailAll(false);
    TurnUntil([this] { return keeper_.Trouble().empty(); });
    EXPECT_EQ(StoredState("lamp"), "<s>newest</s>");
}

TEST_F(StateKeeperTest, AChangeAfterAFailureIsTriedAtOnceAndAnsweredForItself) {
    disk_.FailAll(true);
    Change("<s>1</s>");
    Settle();
    TurnUntilAnswers(1);
    disk_.FailAll(false);
    Change("<s>2</s>");
    Settle();
    TurnUntilAnswers(2);
    EXPECT_EQ(answers_[1], "");
    EXPECT_EQ(StoredState("lamp"), "<s>2</s>");
}

TEST_F(StateKeeperTest, AfterAFailureADocumentIsWrittenEvenIfItLooksStored) {
    Change("<s>1</s>");
    Settle();
    TurnUntilAnswers(1);
    disk_.FailAll(true);
    Change("<s>2</s>");
    Settle();
    TurnUntilAnswers(2);
    disk_.FailAll(false);
    Change("<s>1</s>");
    Settle();
    TurnUntilAnswers(3);
    EXPECT_EQ(Counters().stateWrites, 2U);
}

TEST_F(StateKeeperTest, ADriverThatCannotGiveItsStateIsTrouble) {
    lamp_.pulled = {{}, "driver lamp threw in GetPersistState: oh"};
    keeper_.Mark(lampKey_);
    Settle();
    EXPECT_THAT(answers_, ElementsAre("driver lamp threw in GetPersistState: oh"));
    EXPECT_THAT(keeper_.Trouble(), HasSubstr("GetPersistState"));
}

TEST_F(StateKeeperTest, FlushStoresWhatWasNotMarked) {
    lamp_.pulled.document = "<s>quiet</s>";
    EXPECT_TRUE(keeper_.Flush(lampKey_).IsStored());
    EXPECT_EQ(StoredState("lamp"), "<s>quiet</s>");
}

TEST_F(StateKeeperTest, FlushAnswersThoseWhoWaitForTheNextDocument) {
    Change("<s>1</s>");
    Settle();
    Change("<s>2</s>");
    Settle();
    EXPECT_TRUE(keeper_.Flush(lampKey_).IsStored());
    EXPECT_THAT(answers_,
                ElementsAre(""));  // the second caller's; the first write's result is not posted yet
    TurnUntilAnswers(2);
    EXPECT_EQ(StoredState("lamp"), "<s>2</s>");
    EXPECT_EQ(keeper_.Stored(lampKey_), "<s>2</s>");
}

TEST_F(StateKeeperTest, AFlushThatFailsLeavesWaitersToTheNextWrite) {
    Change("<s>1</s>");
    Settle();
    Change("<s>2</s>");
    Settle();
    store_.Load("lamp", [](std::string_view) { return std::string(); });  // waits for the first write
    disk_.FailAll(true);
    EXPECT_THAT(keeper_.Flush(lampKey_).notStored, HasSubstr("No space"));
    disk_.FailAll(false);
    TurnUntilAnswers(2);
    EXPECT_THAT(answers_, ElementsAre("", ""));
    EXPECT_EQ(StoredState("lamp"), "<s>2</s>");
}

TEST_F(StateKeeperTest, ReplaceKeepsTheOldDocumentAsAGeneration) {
    Change("<s>1</s>");
    Settle();
    TurnUntilAnswers(1);
    EXPECT_EQ(keeper_.Replace(lampKey_, "<s>backup</s>"), "");
    EXPECT_EQ(StoredState("lamp"), "<s>backup</s>");
    EXPECT_THAT(disk_.ContentOf("/state/lamp/0000000001.xml"), HasSubstr("<s>1</s>"));
}

TEST_F(StateKeeperTest, AFlushTellsADriverThatCannotGiveItsStateFromADiskThatFails) {
    lamp_.pulled = {{}, "driver lamp threw in GetPersistState: oh"};
    const FlushResult flushed = keeper_.Flush(lampKey_);
    EXPECT_EQ(flushed.notGiven, "driver lamp threw in GetPersistState: oh");
    EXPECT_EQ(flushed.notStored, "");
    EXPECT_FALSE(flushed.IsStored());
}

TEST_F(StateKeeperTest, DroppedMarksAreNotStored) {
    Change("<s>1</s>");
    keeper_.DropMarks(lampKey_);
    Settle();
    EXPECT_EQ(lamp_.pulls, 0);
    EXPECT_THAT(answers_, ElementsAre(""));
}

TEST_F(StateKeeperTest, TheWriteOfADetachedDriverIsFinishedAndAnswered) {
    auto gate = std::make_unique<Source>("gate");
    gate->pulled.document = "<s>1</s>";
    const StateKeeper::Key key = keeper_.Add(*gate, "probe");
    disk_.Hold(true);
    keeper_.Mark(key);
    Settle();
    keeper_.Detach(key);
    gate.reset();
    EXPECT_THAT(answers_, IsEmpty());
    disk_.Hold(false);
    TurnUntilAnswers(1);
    EXPECT_THAT(answers_, ElementsAre(""));
    EXPECT_EQ(StoredState("gate"), "<s>1</s>");
}

TEST_F(StateKeeperTest, OfADetachedDriverNothingIsTriedAgainAndNothingShown) {
    auto gate = std::make_unique<Source>("gate");
    const StateKeeper::Key key = keeper_.Add(*gate, "probe");
    keeper_.Warn(key, "it was damaged");
    disk_.FailAll(true);
    keeper_.Mark(key);
    Settle();
    TurnUntilAnswers(1);
    EXPECT_THAT(keeper_.Trouble(), HasSubstr("driver gate"));
    keeper_.Detach(key);
    gate.reset();
    disk_.FailAll(false);
    EXPECT_EQ(keeper_.Trouble(), "");
    EXPECT_THAT(keeper_.Warnings(), IsEmpty());
    Turn();  // longer than the time until a retry
    EXPECT_EQ(StoredState("gate"), "");
}

TEST_F(StateKeeperTest, ThoseWhoWaitForTheNextDocumentOfADetachedDriverAreTold) {
    disk_.Hold(true);
    for (const char* document : {"<s>1</s>", "<s>2</s>"}) {
        Change(document);
        Settle();
    }
    keeper_.Detach(lampKey_);
    EXPECT_THAT(answers_, ElementsAre("the driver was stopped before its state was stored"));
    disk_.Hold(false);
    TurnUntilAnswers(2);
    EXPECT_EQ(answers_[1], "") << "the first one's document was being written";
}

TEST_F(StateKeeperTest, WhoeverListsTheDocumentsOfADetachedDriverIsAnsweredStill) {
    Change("<s>1</s>");
    EXPECT_TRUE(keeper_.Flush(lampKey_).IsStored());
    disk_.Hold(true);
    keeper_.Mark(shutterKey_);
    keeper_.Settle();  // what lists waits for this write
    std::optional<std::size_t> listed;
    std::optional<std::string> examined;
    keeper_.ListGenerations(lampKey_,
                            [&](const auto& generations, const Fault&) { listed = generations.size(); });
    keeper_.ExamineGeneration(lampKey_, 1,
                              [&](const auto& found, const Fault&) { examined = found->document; });
    keeper_.Detach(lampKey_);
    disk_.Hold(false);
    TurnUntil([&] { return listed && examined; });
    EXPECT_EQ(listed, 1U);
    EXPECT_EQ(examined, "<s>1</s>");
}

TEST_F(StateKeeperTest, ADriverOfTheSameNameGoesOnWhereTheDetachedOneEnded) {
    Change("<s>1</s>");
    EXPECT_TRUE(keeper_.Flush(lampKey_).IsStored());
    keeper_.Warn(lampKey_, "it was damaged");
    keeper_.Detach(lampKey_);
    Source next("lamp");
    const StateKeeper::Key key = keeper_.Add(next, "probe");
    EXPECT_EQ(keeper_.Load(key, [](std::string_view) { return std::string(); }), "<s>1</s>");
    EXPECT_THAT(keeper_.Warnings(), ElementsAre("driver lamp: it was damaged"));
    keeper_.ClearWarnings(key);
    EXPECT_THAT(keeper_.Warnings(), IsEmpty());
}

TEST_F(StateKeeperTest, FailuresAreLoggedOnceAndTheirEndToo) {
    testing::internal::CaptureStderr();
    disk_.FailAll(true);
    for (std::size_t change = 1; change <= 3; ++change) {
        Change("<s>" + std::to_string(change) + "</s>");
        Settle();
        TurnUntilAnswers(change);
    }
    disk_.FailAll(false);
    TurnUntil([this] { return keeper_.Trouble().empty(); });
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(log.find("is not stored"), log.rfind("is not stored"));
    EXPECT_THAT(log, HasSubstr(" 6 lamp the state is stored again"));
}

}  // namespace
}  // namespace driverhost
