// Keeps the drivers' states on disk: asks each driver that marked its state for the document between calls,
// stores it, and tells those who wait when it is safe.
//
// A mark that arrives while a document is being written waits for the next one, so any number of commands
// share a write.
#ifndef DRIVERHOST_STATE_STATEKEEPER_H
#define DRIVERHOST_STATE_STATEKEEPER_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/Metrics.h"
#include "driverhost/state/StateStore.h"

namespace driverhost {

struct PulledState {
    std::optional<std::string> document;  // none: the driver keeps no state, or does not run
    Fault error;                          // the driver failed to give its state
};

/// A driver as the keeper sees it.
class StateSource {
public:
    virtual const std::string& Name() const = 0;
    /// Asks for the whole state. Throws nothing.
    virtual PulledState PullState() = 0;

protected:
    ~StateSource() = default;
};

/// What became of a Flush; both empty: the state is on disk.
struct FlushResult {
    Fault notGiven;   // the driver's error: its newest state is unknown, the last one stored is kept
    Fault notStored;  // the disk's error

    bool IsStored() const { return notGiven.empty() && notStored.empty(); }
};

/// How long after a failure storing is tried again: the first time, and at most.
inline constexpr std::chrono::milliseconds kFirstRetry{1000};
inline constexpr std::chrono::milliseconds kLongestRetry{30000};

/// All operations: [driver thread]
class StateKeeper {
public:
    /// Names one driver from Add to Detach; never used again.
    using Key = std::uint64_t;
    /// Gets the reason when storing failed.
    using Done = std::function<void(const Fault& error)>;

    StateKeeper(DriverThread& thread, StateStore& store, Metrics& metrics,
                std::chrono::milliseconds firstRetry = kFirstRetry);

    /// Keeps the state of `source`, whose documents `library` writes, until Detach. Drivers have
    /// different names.
    Key Add(StateSource& source, const std::string& library);

    /// The driver goes, and its source with it. Its marks are dropped; a write that is under way is
    /// finished, and those who wait for it are still told. Nobody may use the key afterwards.
    void Detach(Key key);

    /// The stored document, see StateStore::Load.
    std::optional<std::string> Load(Key key, const StateFolder::Check& check);

    /// What is stored now, as far as known.
    std::optional<std::string> Stored(Key key) const;

    /// The driver's state has changed. Calls nobody.
    void Mark(Key key);

    /// True when nothing was marked since the last Settle.
    bool IsSettled() const { return marked_.empty(); }

    /// To be called after every call into a driver: begins to store what was marked since the last
    /// Settle, and calls `done`, which may be empty, when that is finished; at once when nothing was
    /// marked.
    void Settle(const Done& done = {});

    /// Asks for the state now and returns when it is on disk, or when that failed.
    FlushResult Flush(Key key);

    /// Stores `document` as the newest.
    Fault Replace(Key key, const std::string& document);

    /// The stored generations, and one of them; see StateStore.
    void ListGenerations(Key key, StateStore::Listed listed);
    void ExamineGeneration(Key key, std::uint64_t number, StateStore::Examined examined);

    /// The driver was stopped: what it marked since the last Flush is not stored.
    void DropMarks(Key key);

    /// Which driver's state is not on disk, and why.
    Fault Trouble() const;

    /// Logs in the driver's name that its state is not what it should be, and shows it in Warnings.
    void Warn(Key key, const std::string& warning);
    /// What Warn was told and Load found damaged, each with its driver, until ClearWarnings. The
    /// warnings of a driver outlive Detach, and are shown while a driver of that name is kept.
    std::vector<std::string> Warnings() const;
    void ClearWarnings(Key key);

private:
    struct Waiter;
    using WaiterPtr = std::shared_ptr<Waiter>;

    struct Record {
        Key key = 0;
        std::string name;
        StateSource* source = nullptr;  // not owned; null after Detach
        DriverCounters* counters = nullptr;
        bool marked = false;
        bool writing = false;
        bool retrying = false;
        std::vector<WaiterPtr> current;  // they wait for the document that is being written
        std::vector<WaiterPtr> next;     // they marked after that one was pulled
        DocumentPtr stored;
        std::uint64_t storedWrite = 0;
        std::uint64_t lastWrite = 0;
        Fault trouble;
        std::chrono::milliseconds retryDelay{};
    };

    void Begin(Record& record);
    bool IsStored(const Record& record, const std::string& document) const;
    Fault WriteNow(Record& record, const DocumentPtr& document);
    void OnWritten(Record& record, std::uint64_t write, const DocumentPtr& document,
                   const StoreResult& result);
    void Finish(Record& record, const std::string& error);
    void Count(Record& record, const StoreResult& result);
    void Succeed(Record& record, std::uint64_t write, const DocumentPtr& document);
    void FailWrite(Record& record, const std::string& error);
    void Fail(Record& record, const std::string& error);
    void Retry(Key key);
    void Unmark(Record& record);
    static void Answer(std::vector<WaiterPtr> waiters, const std::string& error);

    DriverThread& thread_;
    StateStore& store_;
    Metrics& metrics_;
    const std::chrono::milliseconds firstRetry_;
    std::map<Key, Record> records_;  // of a driver that was detached until its last write is done
    Key lastKey_ = 0;
    std::vector<Record*> marked_;
    std::map<std::string, std::vector<std::string>> warnings_;  // by the driver's name
};

}  // namespace driverhost

#endif
