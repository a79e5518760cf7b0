// A folder of generations on a disk that fails at each step in turn, with an error or a power cut. Each run
// is random and goes through several lives of the process.
#include <gtest/gtest.h>

#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/StateFolder.h"
#include "host/glue/Log.h"
#include "tests/driverhost/support/FaultRun.h"
#include "tests/driverhost/support/StoreHistory.h"

namespace driverhost {
namespace {

using Fault = MemoryFileSystem::Fault;
using Prepare = std::function<void(MemoryFileSystem&)>;

constexpr char kFolder[] = "/state/lamp";
constexpr int kChanges = 7;  // in the first life of the process; later lives have fewer
constexpr int kLives = 4;    // a fault in each but the last
constexpr std::size_t kStepsOfALife = 50;
constexpr unsigned int kSeeds = 10;

std::string AnyDocument(std::string_view) {
    return {};
}

// What a run begins with: in some runs nothing, in most so many generations that old ones are dropped.
struct Beginning {
    explicit Beginning(unsigned int seed) {
        model::Dice dice(seed);
        const std::size_t generations = dice.Below(4) == 0 ? 0 : kGenerations - dice.Below(4);
        StateFolder folder(disk, "/state", "lamp", "probe");
        for (std::size_t count = 0; count < generations; ++count) {
            folder.Store(history.Change(dice));
            history.Answered(history.Latest());
        }
    }

    MemoryFileSystem disk;
    StoreHistory history{kFolder};
};

// One run: a process uses the folder until it is killed or loses power, and the next one goes on from what
// the disk holds.
class FolderRun {
public:
    FolderRun(const FaultPlan& plan, const Beginning& beginning, Prepare prepare)
        : plan_(plan), prepare_(std::move(prepare)), history_(beginning.history) {
        Restart(beginning.disk, MemoryFileSystem::LosingAll());
    }

    RunResult Play() {
        for (int life = 0; life < kLives && wrong_.empty(); ++life) {
            Arm(life);
            Live(life == 0 ? kChanges : static_cast<int>(dice_.Below(kChanges)));
            if (life == 0) reached_ = disk_->StepsDone() > plan_.step;
            End(life);
        }
        return {wrong_, reached_};
    }

private:
    void Arm(int life) {
        const auto place = static_cast<std::uint64_t>(plan_.step * kLives + life);
        dice_ = model::Dice((place << 32U) + plan_.variant * 1000003 + plan_.seed);
        if (life == 0) return disk_->FailAtStep(plan_.step, plan_.fault);
        if (life + 1 == kLives) return disk_->FailAtStep(std::nullopt);
        const Fault faults[] = {Fault::Error, Fault::LateError, Fault::PowerCut};
        disk_->FailAtStep(static_cast<int>(dice_.Below(kStepsOfALife)), faults[dice_.Below(3)]);
    }

    void Live(int changes) {
        StateFolder folder(*disk_, "/state", "lamp", "probe");
        if (!Load(folder)) return;
        for (int change = 0; change < changes && disk_->HasPower() && wrong_.empty(); ++change)
            Store(folder, history_.Change(dice_));
    }

    // The one fault of a life may hit the loading; then the process starts a second time.
    bool Load(StateFolder& folder) {
        for (int tries = 0; tries < 2; ++tries) {
            try {
                Note(history_.Loaded(folder.Load(&AnyDocument).document, *disk_));
                return true;
            } catch (const FileError&) {
                if (!disk_->HasPower()) return false;
            }
        }
        wrong_ = "the second start fails as well";
        return false;
    }

    // After an error either the same document is stored again, or the next one.
    void Store(StateFolder& folder, const std::string& document) {
        if (TryStore(folder, document) || !disk_->HasPower()) return;
        const std::string next = dice_.Coin() ? document : history_.Change(dice_);
        if (!TryStore(folder, next)) wrong_ = "storing does not recover from one error";
    }

    bool TryStore(StateFolder& folder, const std::string& document) {
        try {
            folder.Store(document);
        } catch (const FileError&) {
            return false;
        }
        history_.Answered(history_.Latest());
        folder.DropOldest();
        Note(history_.CheckFiles(*disk_));
        return true;
    }

    // After a kill the next process finds what was not synced, and a later power cut may still take it away.
    void End(int life) {
        const bool isKilled = life == 0 ? plan_.left == FaultPlan::Left::All : dice_.Coin();
        if (isKilled) return disk_->GoOn();
        Restart(*disk_,
                plan_.left == FaultPlan::Left::Nothing ? MemoryFileSystem::LosingAll() : KeepingAny(dice_));
    }

    void Restart(const MemoryFileSystem& disk, const MemoryFileSystem::PowerCut& cut) {
        disk_ = disk.AfterPowerCut(cut);
        if (prepare_) prepare_(*disk_);
    }

    void Note(const std::string& wrong) {
        if (wrong_.empty()) wrong_ = wrong;
    }

    const FaultPlan plan_;
    model::Dice dice_{0};
    const Prepare prepare_;
    std::unique_ptr<MemoryFileSystem> disk_;
    StoreHistory history_;
    std::string wrong_;
    bool reached_ = false;
};

class StateFolderFaults : public testing::Test {
protected:
    StateFolderFaults() { HostLog::Start(0, LogForm::Plain); }  // thousands of expected failures
    ~StateFolderFaults() override { HostLog::Start(dv::LOG_LEVEL_INFO, LogForm::Plain); }

    static FaultRuns PlayRuns(const Prepare& prepare = {}) {
        std::map<unsigned int, Beginning> beginnings;
        return PlayAll(kSeeds, [&](const FaultPlan& plan) {
            const Beginning& beginning = beginnings.try_emplace(plan.seed, plan.seed).first->second;
            return FolderRun(plan, beginning, prepare).Play();
        });
    }
};

TEST_F(StateFolderFaults, WhatWasStoredIsFoundAgainWhateverStepFails) {
    const FaultRuns all = PlayRuns();
    EXPECT_EQ(all.wrong, "");
    RecordProperty("runs", all.runs);
    EXPECT_GT(all.runs, 30 * all.series);
}

TEST_F(StateFolderFaults, ARunNoticesADiskThatDoesNotSyncContents) {
    EXPECT_NE(PlayRuns([](MemoryFileSystem& disk) { disk.SyncNoContents(); }).wrong, "");
}

TEST_F(StateFolderFaults, ARunNoticesADiskThatDoesNotSyncNames) {
    EXPECT_NE(PlayRuns([](MemoryFileSystem& disk) { disk.SyncNoNames(); }).wrong, "");
}

}  // namespace
}  // namespace driverhost
