// Writes the drivers' documents on a thread of its own, so that no disk holds the driver thread.
#ifndef DRIVERHOST_STATE_STATESTORE_H
#define DRIVERHOST_STATE_STATESTORE_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "driverhost/state/FileSystem.h"
#include "driverhost/state/StateFolder.h"

namespace driverhost {

/// What became of one document.
struct StoreResult {
    std::string error;  // empty: it is on disk
    double seconds = 0;
};

/// All operations: [driver thread]. They are carried out in the order in which they were called.
class StateStore {
public:
    using Work = std::function<void()>;
    using Completion = std::function<void(const StoreResult&)>;

    /// Documents live in root/DRIVER. `post` brings completions to the driver thread.
    StateStore(FileSystem& files, std::string root, std::function<void(Work)> post);
    StateStore(const StateStore&) = delete;
    StateStore& operator=(const StateStore&) = delete;
    /// Finishes what was begun; completions are posted still.
    ~StateStore();

    /// Makes the driver known, with the library that its documents must come from.
    void AddDriver(const std::string& driver, const std::string& library);

    /// See StateFolder::Load. Waits for it. Throws FileError.
    LoadedState Load(const std::string& driver, StateFolder::Check check);

    /// Stores a document and posts what became of it.
    void Write(const std::string& driver, std::string document, Completion done);

    /// Stores a document and waits for it.
    StoreResult WriteNow(const std::string& driver, const std::string& document);

private:
    template <class Job>
    auto RunAndWait(Job job);
    void Enqueue(Work job);
    void Run();
    StoreResult Store(const std::string& driver, const std::string& document);

    FileSystem& files_;
    const std::string root_;
    const std::function<void(Work)> post_;
    std::map<std::string, StateFolder> folders_;  // fixed before the first job; then [store thread]

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Work> jobs_;  // under mutex_
    bool ending_ = false;    // under mutex_
    std::thread thread_;     // last: it uses what stands above
};

}  // namespace driverhost

#endif
