// Reads and writes the drivers' documents on a thread of its own, so that the driver thread does not wait
// for the disk.
#ifndef DRIVERHOST_STATE_STATESTORE_H
#define DRIVERHOST_STATE_STATESTORE_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "driverhost/state/FileSystem.h"
#include "driverhost/state/StateFolder.h"

namespace driverhost {

/// The text of a document, shared by those who write, keep and compare it; null: there is none.
using DocumentPtr = std::shared_ptr<const std::string>;

/// What became of a document that was to be stored.
struct StoreResult {
    Fault error;  // empty: it is on disk
    double seconds = 0;
};

/// All operations: [driver thread]. The store's thread carries them out in the order of the calls, but
/// List and Examine only when nothing else waits.
class StateStore {
public:
    using Work = std::function<void()>;
    using Completion = std::function<void(const StoreResult&)>;
    /// Gets what was found, or the error when nothing could be read.
    using Listed = std::function<void(const std::vector<Generation>& generations, const std::string& error)>;
    using Examined =
        std::function<void(const std::optional<Generation>& generation, const std::string& error)>;

    /// Documents are in root/DRIVER. `post` runs completions on the driver thread.
    StateStore(FileSystem& files, std::string root, std::function<void(Work)> post);
    StateStore(const StateStore&) = delete;
    StateStore& operator=(const StateStore&) = delete;
    /// Finishes what was begun, and still posts the completions.
    ~StateStore();

    /// From now on the driver's documents are those that `library` writes.
    void AddDriver(const std::string& driver, const std::string& library);
    /// The driver is gone; what it stored stays on disk. List and Examine that wait are still answered.
    void RemoveDriver(const std::string& driver);

    // Each of these is for a driver that was added.

    /// See StateFolder::Load. Waits for the result. Throws FileError.
    LoadedState Load(const std::string& driver, const StateFolder::Check& check);

    /// Stores a document, then posts the result.
    void Write(const std::string& driver, DocumentPtr document, Completion done);

    /// Stores a document and waits for the result.
    StoreResult WriteNow(const std::string& driver, const std::string& document);

    /// Posts all generations, without their documents.
    void List(const std::string& driver, Listed listed);

    /// Posts one generation; no value when there is none of that number.
    void Examine(const std::string& driver, std::uint64_t number, Examined examined);

private:
    struct Listing;
    using FolderPtr = std::shared_ptr<StateFolder>;

    template <class Job>
    auto RunAndWait(Job job);
    void Enqueue(Work job);
    void EnqueueWhenIdle(Work job);
    std::optional<Work> NextJob();
    void Run();
    void BeginListing(const std::shared_ptr<Listing>& listing);
    void ContinueListing(const std::shared_ptr<Listing>& listing);
    void PostListed(const std::shared_ptr<Listing>& listing);

    FileSystem& files_;
    const std::string root_;
    const std::function<void(Work)> post_;
    std::map<std::string, FolderPtr> folders_;  // by driver; the folders themselves: [store thread]

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Work> jobs_;          // under mutex_
    std::deque<Work> whenIdleJobs_;  // under mutex_; they wait until jobs_ is empty
    bool ending_ = false;            // under mutex_
    std::thread thread_;             // last: it uses the members above
};

}  // namespace driverhost

#endif
