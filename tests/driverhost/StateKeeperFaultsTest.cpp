// Two drivers' states go through the keeper and the store's thread to a disk that fails at each step in turn:
// the next process finds whatever was answered.
#include <gtest/gtest.h>

#include <array>

#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/StateKeeper.h"
#include "host/glue/Log.h"
#include "tests/driverhost/support/FaultRun.h"
#include "tests/driverhost/support/StoreHistory.h"
#include "tests/support/process/Patience.h"

namespace driverhost {
namespace {

using namespace std::chrono_literals;

constexpr int kActions = 8;  // in one life of the process
constexpr unsigned int kSeeds = 3;

std::string AnyDocument(std::string_view) {
    return {};
}

class Source final : public StateSource {
public:
    explicit Source(std::string name) : history("/state/" + name), name_(std::move(name)) {}
    const std::string& Name() const override { return name_; }
    PulledState PullState() override { return {document, {}}; }

    StoreHistory history;
    std::optional<std::string> document;  // what the driver would give now
    StateKeeper::Key key = 0;

private:
    const std::string name_;
};

using Sources = std::array<Source, 2>;

// One process from its start to its end.
class Life {
public:
    Life(MemoryFileSystem& disk, Sources& sources, model::Dice& dice)
        : disk_(disk), sources_(sources), dice_(dice) {
        for (Source& source : sources_)
            source.key = keeper_.Add(source, "probe");
    }

    /// False when the power is gone or something is wrong.
    bool Load() {
        for (Source& source : sources_)
            if (!LoadOne(source)) return false;
        return wrong.empty();
    }

    void Act() {
        Source& source = sources_[dice_.Below(sources_.size())];
        switch (dice_.Below(5)) {
            case 0:
                return ChangeBoth();
            case 1:
                return ChangeQuietly(source);
            case 2:
                return Replace(source);
            default:
                return ChangeInARow(source, 1 + static_cast<int>(dice_.Below(3)));
        }
    }

    /// Waits until the keeper has stored everything by itself.
    void Recover() {
        TurnUntil([this] { return keeper_.Trouble().empty() || !disk_.HasPower(); }, "recovery");
    }

    std::string wrong;

private:
    bool LoadOne(Source& source) {
        for (int tries = 0; tries < 2; ++tries) {
            try {
                source.document = keeper_.Load(source.key, &AnyDocument);
                Note(source.history.Loaded(source.document, disk_));
                return true;
            } catch (const FileError&) {
                if (!disk_.HasPower()) return false;
            }
        }
        Note("the second start fails as well");
        return false;
    }

    // Changes that come while the first one is being written share the next write.
    void ChangeInARow(Source& source, int count) {
        waiting_ = count;
        for (int change = 0; change < count; ++change) {
            Change(source);
            keeper_.Mark(source.key);
            Settle({{&source, source.history.Latest()}});
        }
        WaitForAnswers();
    }

    void ChangeBoth() {
        waiting_ = 1;
        std::vector<std::pair<Source*, int>> changes;
        for (Source& source : sources_) {
            Change(source);
            keeper_.Mark(source.key);
            changes.emplace_back(&source, source.history.Latest());
        }
        Settle(changes);
        WaitForAnswers();
    }

    void ChangeQuietly(Source& source) {
        Change(source);
        if (keeper_.Flush(source.key).IsStored()) source.history.Answered(source.history.Latest());
    }

    void Replace(Source& source) {
        Change(source);
        if (keeper_.Replace(source.key, *source.document).empty())
            source.history.Answered(source.history.Latest());
    }

    void Change(Source& source) { source.document = source.history.Change(dice_); }

    void Settle(const std::vector<std::pair<Source*, int>>& changes) {
        keeper_.Settle([this, changes](const std::string& error) {
            --waiting_;
            if (!error.empty()) return;
            for (const auto& [source, change] : changes)
                source->history.Answered(change);
        });
    }

    void WaitForAnswers() {
        TurnUntil([this] { return waiting_ == 0; }, "answers");
    }

    template <class Condition>
    void TurnUntil(Condition condition, const char* what) {
        const auto end = Clock::now() + test::kPatience;
        while (!condition() && Clock::now() < end) {
            thread_.After(1ms, [this] { thread_.Stop(); });
            thread_.Run();
        }
        if (!condition()) Note(std::string("no ") + what + " in time");
    }

    void Note(const std::string& what) {
        if (wrong.empty()) wrong = what;
    }

    MemoryFileSystem& disk_;
    Sources& sources_;
    model::Dice& dice_;
    DriverThread thread_;
    Metrics metrics_;
    StateStore store_{disk_, "/state", [this](StateStore::Work work) {
                          thread_.Post([this, work = std::move(work)] {
                              work();
                              thread_.Stop();
                          });
                      }};
    StateKeeper keeper_{thread_, store_, metrics_, 1ms};
    int waiting_ = 0;
};

class KeeperRun {
public:
    explicit KeeperRun(const FaultPlan& plan) : plan_(plan), dice_(plan.seed) {}

    RunResult Play() {
        disk_->FailAtStep(plan_.step, plan_.fault);
        std::string wrong = Live(kActions);
        const bool reached = disk_->StepsDone() > plan_.step;
        if (wrong.empty()) wrong = Again();
        return {wrong, reached};
    }

private:
    std::string Live(int actions) {
        Life life(*disk_, sources_, dice_);
        if (!life.Load()) return life.wrong;
        for (int action = 0; action < actions && disk_->HasPower() && life.wrong.empty(); ++action) {
            life.Act();
            life.Recover();
        }
        return life.wrong;
    }

    // The next process goes on from what is left and stores a change; the one after it must find that.
    std::string Again() {
        if (plan_.left == FaultPlan::Left::All) disk_->GoOn();
        for (const int actions : {1, 0}) {
            if (plan_.left != FaultPlan::Left::All) Restart();
            disk_->FailAtStep(std::nullopt);
            if (std::string wrong = Live(actions); !wrong.empty()) return wrong;
        }
        return {};
    }

    void Restart() {
        disk_ = disk_->AfterPowerCut(plan_.left == FaultPlan::Left::Nothing ? MemoryFileSystem::LosingAll()
                                                                            : KeepingAny(dice_));
    }

    const FaultPlan plan_;
    model::Dice dice_;
    std::unique_ptr<MemoryFileSystem> disk_ = std::make_unique<MemoryFileSystem>();
    Sources sources_{Source("lamp"), Source("shutter")};
};

class StateKeeperFaults : public testing::Test {
protected:
    StateKeeperFaults() { HostLog::Start(0, LogForm::Plain); }  // thousands of expected failures
    ~StateKeeperFaults() override { HostLog::Start(dv::LOG_LEVEL_INFO, LogForm::Plain); }
};

TEST_F(StateKeeperFaults, WhatWasAnsweredIsFoundAgainWhateverStepFails) {
    const FaultRuns all = PlayAll(kSeeds, [](const FaultPlan& plan) { return KeeperRun(plan).Play(); });
    EXPECT_EQ(all.wrong, "");
    RecordProperty("runs", all.runs);
    EXPECT_GT(all.runs, 30 * all.series);
}

}  // namespace
}  // namespace driverhost
