// Keeps the drivers' states on disk: what a driver marked is pulled between calls and stored,
// and whoever waits for it is told when it is safe.
//
// A mark that arrives while a document is being written waits for the next one, so any number of
// commands share a write.
#ifndef DRIVERHOST_STATE_STATEKEEPER_H
#define DRIVERHOST_STATE_STATEKEEPER_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
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
    std::string error;                    // the driver failed to tell
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

/// How long after a failure storing is tried again: the first time, and at most.
inline constexpr std::chrono::milliseconds kFirstRetry{1000};
inline constexpr std::chrono::milliseconds kLongestRetry{30000};

/// All operations: [driver thread]
class StateKeeper {
public:
    using Key = std::size_t;
    /// Told why storing failed; empty when all is on disk.
    using Done = std::function<void(const std::string& error)>;

    StateKeeper(DriverThread& thread, StateStore& store, Metrics& metrics,
                std::chrono::milliseconds firstRetry = kFirstRetry);

    Key Add(StateSource& source);

    /// The stored document, see StateStore::Load.
    std::optional<std::string> Load(Key key, StateFolder::Check check);

    /// What is stored now, as far as known.
    std::optional<std::string> Stored(Key key) const;

    /// The driver's state is stale. Calls nobody.
    void Mark(Key key);

    /// True when nothing was marked since the last Settle.
    bool IsSettled() const { return marked_.empty(); }

    /// To be called after every call into a driver: begins to store what was marked since the last
    /// Settle, and tells `done`, which may be empty, when that is over. At once when nothing was.
    void Settle(const Done& done = {});

    /// Pulls the state now and returns when it is on disk; why not, or empty.
    std::string Flush(Key key);

    /// Puts a document in the place of the stored one; why not, or empty.
    std::string Replace(Key key, const std::string& document);

    /// The generations that are kept, and one of them; see StateStore.
    void ListGenerations(Key key, StateStore::Listed listed);
    void ExamineGeneration(Key key, std::uint64_t number, StateStore::Examined examined);

    /// The driver is gone: what it marked since the last Flush does not count.
    void Forget(Key key);

    /// Which driver's state is not on disk, and why; empty when all is.
    std::string Trouble() const;

    /// What Load found damaged, each with its driver, until it is forgiven.
    std::vector<std::string> Warnings() const;
    /// The driver's state is as its user wants it.
    void Forgive(Key key) { records_.at(key).warnings.clear(); }

private:
    struct Waiter;
    using WaiterPtr = std::shared_ptr<Waiter>;

    struct Record {
        StateSource* source;  // not owned
        DriverCounters* counters;
        bool marked = false;
        bool writing = false;
        bool retrying = false;
        std::vector<WaiterPtr> current;  // what they wait for is being written
        std::vector<WaiterPtr> next;     // marked after that was pulled
        DocumentPtr stored;
        std::uint64_t storedWrite = 0;
        std::uint64_t lastWrite = 0;
        std::string trouble;
        std::vector<std::string> warnings;
        std::chrono::milliseconds retryDelay;
    };

    void Begin(Record& record);
    bool IsStored(const Record& record, const std::string& document) const;
    std::string WriteNow(Record& record, const DocumentPtr& document);
    void OnWritten(Record& record, std::uint64_t write, const DocumentPtr& document,
                   const StoreResult& result);
    void Count(Record& record, const StoreResult& result);
    void Succeed(Record& record, std::uint64_t write, const DocumentPtr& document);
    void FailWrite(Record& record, const std::string& error);
    void Fail(Record& record, const std::string& error);
    void Unmark(Record& record);
    static void Tell(std::vector<WaiterPtr> waiters, const std::string& error);

    DriverThread& thread_;
    StateStore& store_;
    Metrics& metrics_;
    const std::chrono::milliseconds firstRetry_;
    std::deque<Record> records_;  // by key; they stay where they are
    std::vector<Record*> marked_;
};

}  // namespace driverhost

#endif
