#include "driverhost/state/StateKeeper.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

DocumentPtr Share(std::string document) {
    return std::make_shared<const std::string>(std::move(document));
}

}  // namespace

// One caller of Settle; it may wait for several drivers.
struct StateKeeper::Waiter {
    Waiter(Done whenDone, std::size_t count) : done(std::move(whenDone)), left(count) {}

    Done done;
    std::size_t left;
    std::string error;
};

StateKeeper::StateKeeper(DriverThread& thread, StateStore& store, Metrics& metrics,
                         std::chrono::milliseconds firstRetry)
    : thread_(thread), store_(store), metrics_(metrics), firstRetry_(firstRetry) {}

StateKeeper::Key StateKeeper::Add(StateSource& source, const std::string& library) {
    const Key key = ++lastKey_;
    Record& record = records_[key];
    record.key = key;
    record.name = source.Name();
    record.source = &source;
    record.counters = &metrics_.OfDriver(record.name);
    record.retryDelay = firstRetry_;
    store_.AddDriver(record.name, library);
    return key;
}

// A record with a write under way is removed when the write is done: its completion refers to it.
void StateKeeper::Detach(Key key) {
    DropMarks(key);
    Record& record = records_.at(key);
    record.source = nullptr;
    store_.RemoveDriver(record.name);
    if (!record.writing) records_.erase(key);
}

std::optional<std::string> StateKeeper::Load(Key key, const StateFolder::Check& check) {
    Record& record = records_.at(key);
    LoadedState loaded = store_.Load(record.name, check);
    std::vector<std::string>& warnings = warnings_[record.name];
    std::move(loaded.warnings.begin(), loaded.warnings.end(), std::back_inserter(warnings));
    record.stored = loaded.document ? Share(*loaded.document) : nullptr;
    return std::move(loaded.document);
}

std::optional<std::string> StateKeeper::Stored(Key key) const {
    const DocumentPtr& stored = records_.at(key).stored;
    return stored ? std::optional(*stored) : std::nullopt;
}

void StateKeeper::Mark(Key key) {
    Record& record = records_.at(key);
    ++record.counters->stateMarks;
    if (std::exchange(record.marked, true)) return;
    marked_.push_back(&record);
}

void StateKeeper::Settle(const Done& done) {
    if (marked_.empty()) {
        if (done) done({});
        return;
    }
    const std::vector<Record*> marked = std::exchange(marked_, {});
    const auto waiter = std::make_shared<Waiter>(done, marked.size());
    for (Record* record : marked) {
        record->marked = false;
        record->next.push_back(waiter);
        if (!record->writing) Begin(*record);
    }
}

void StateKeeper::Begin(Record& record) {
    PulledState pulled = record.source->PullState();
    record.current = std::exchange(record.next, {});
    if (!pulled.error.empty()) {
        Fail(record, pulled.error);
        return Answer(std::exchange(record.current, {}), pulled.error);
    }
    if (!pulled.document || IsStored(record, *pulled.document)) {
        record.trouble.clear();
        return Answer(std::exchange(record.current, {}), {});
    }
    record.writing = true;
    const std::uint64_t write = ++record.lastWrite;
    const DocumentPtr document = Share(std::move(*pulled.document));
    store_.Write(record.name, document, [this, &record, write, document](const StoreResult& result) {
        OnWritten(record, write, document, result);
    });
}

bool StateKeeper::IsStored(const Record& record, const std::string& document) const {
    return record.trouble.empty() && !record.writing && record.stored && *record.stored == document;
}

void StateKeeper::OnWritten(Record& record, std::uint64_t write, const DocumentPtr& document,
                            const StoreResult& result) {
    record.writing = false;
    Count(record, result);
    // Flush may have stored a later document before this one's completion ran.
    const bool overtaken = write < record.storedWrite;
    const std::string error = overtaken ? std::string() : result.error;
    if (!record.source) return Finish(record, error);
    if (!error.empty()) {
        FailWrite(record, error);
    } else if (!overtaken) {
        Succeed(record, write, document);
    }
    Answer(std::exchange(record.current, {}), error);
    if (!record.next.empty() && !record.writing) Begin(record);
}

// The last write of a driver that is gone: nothing can be pulled and tried again.
void StateKeeper::Finish(Record& record, const std::string& error) {
    const std::vector<WaiterPtr> waiters = std::move(record.current);
    records_.erase(records_.find(record.key));
    Answer(waiters, error);
}

void StateKeeper::Count(Record& record, const StoreResult& result) {
    metrics_.stateWriteSeconds.Observe(result.seconds);
    ++(result.error.empty() ? record.counters->stateWrites : record.counters->stateWriteFailures);
}

void StateKeeper::Succeed(Record& record, std::uint64_t write, const DocumentPtr& document) {
    record.storedWrite = write;
    if (write < record.lastWrite) return;  // a later write has failed since, and its trouble stands
    record.stored = document;
    if (!record.trouble.empty()) {
        HostLog::Write(dv::LOG_LEVEL_INFO, record.name, "the state is stored again");
    }
    record.trouble.clear();
    record.retryDelay = firstRetry_;
}

// The disk may now hold the old document or the one that could not be stored, so the next one is written
// in any case.
void StateKeeper::FailWrite(Record& record, const std::string& error) {
    record.stored.reset();
    Fail(record, error);
}

void StateKeeper::Fail(Record& record, const std::string& error) {
    if (record.trouble != error) {
        HostLog::Write(dv::LOG_LEVEL_ERROR, record.name,
                       "the state is not stored: " + error + "; it is tried again");
    }
    record.trouble = error;
    if (std::exchange(record.retrying, true)) return;
    thread_.After(record.retryDelay, [this, key = record.key] { Retry(key); });
    record.retryDelay = std::min(record.retryDelay * 2, kLongestRetry);
}

void StateKeeper::Retry(Key key) {
    const auto found = records_.find(key);
    if (found == records_.end()) return;  // detached since
    Record& record = found->second;
    record.retrying = false;
    if (!record.trouble.empty() && !record.writing) Begin(record);
}

FlushResult StateKeeper::Flush(Key key) {
    Record& record = records_.at(key);
    PulledState pulled = record.source->PullState();
    Unmark(record);
    if (!pulled.error.empty()) return {pulled.error, {}};
    if (!pulled.document || IsStored(record, *pulled.document)) return {};
    return {{}, WriteNow(record, Share(std::move(*pulled.document)))};
}

Fault StateKeeper::Replace(Key key, const std::string& document) {
    return WriteNow(records_.at(key), Share(document));
}

Fault StateKeeper::WriteNow(Record& record, const DocumentPtr& document) {
    const std::uint64_t write = ++record.lastWrite;
    const StoreResult result = store_.WriteNow(record.name, *document);
    Count(record, result);
    if (!result.error.empty()) {
        FailWrite(record, result.error);
        return result.error;
    }
    Succeed(record, write, document);
    Answer(std::exchange(record.next, {}), {});  // they waited for this document
    return {};
}

void StateKeeper::DropMarks(Key key) {
    Record& record = records_.at(key);
    Unmark(record);
    record.trouble.clear();
    Answer(std::exchange(record.next, {}), "the driver was stopped before its state was stored");
}

Fault StateKeeper::Trouble() const {
    for (const auto& [key, record] : records_) {
        if (record.trouble.empty() || !record.source) continue;
        return "the state of driver " + record.name + " is not stored: " + record.trouble;
    }
    return {};
}

void StateKeeper::Warn(Key key, const std::string& warning) {
    const std::string& name = records_.at(key).name;
    HostLog::Write(dv::LOG_LEVEL_ERROR, name, warning);
    warnings_[name].push_back(warning);
}

std::vector<std::string> StateKeeper::Warnings() const {
    std::vector<std::string> shown;
    for (const auto& [key, record] : records_) {
        const auto warnings = warnings_.find(record.name);
        if (!record.source || warnings == warnings_.end()) continue;
        for (const std::string& warning : warnings->second)
            shown.push_back("driver " + record.name + ": " + warning);
    }
    return shown;
}

void StateKeeper::ClearWarnings(Key key) {
    warnings_.erase(records_.at(key).name);
}

void StateKeeper::ListGenerations(Key key, StateStore::Listed listed) {
    store_.List(records_.at(key).name, std::move(listed));
}

void StateKeeper::ExamineGeneration(Key key, std::uint64_t number, StateStore::Examined examined) {
    store_.Examine(records_.at(key).name, number, std::move(examined));
}

void StateKeeper::Unmark(Record& record) {
    record.marked = false;
    std::erase(marked_, &record);
}

void StateKeeper::Answer(std::vector<WaiterPtr> waiters, const std::string& error) {
    for (const WaiterPtr& waiter : waiters) {
        if (!error.empty()) waiter->error = error;
        if (--waiter->left == 0 && waiter->done) waiter->done(waiter->error);
    }
}

}  // namespace driverhost
