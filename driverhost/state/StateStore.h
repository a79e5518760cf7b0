// Writes the drivers' documents on a thread of its own, so that no disk holds the driver thread.
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

/// A document as text, for several to hold; null: there is none.
using DocumentPtr = std::shared_ptr<const std::string>;

/// What became of one document.
struct StoreResult {
    std::string error;  // empty: it is on disk
    double seconds = 0;
};

/// All operations: [driver thread]. They are carried out in the order in which they were called,
/// List and Examine when nothing else is to do.
class StateStore {
public:
    using Work = std::function<void()>;
    using Completion = std::function<void(const StoreResult&)>;
    /// Told what was found, or why nothing could be.
    using Listed = std::function<void(const std::vector<Generation>& generations, const std::string& error)>;
    using Examined =
        std::function<void(const std::optional<Generation>& generation, const std::string& error)>;

    /// Documents live in root/DRIVER. `post` brings completions to the driver thread.
    StateStore(FileSystem& files, std::string root, std::function<void(Work)> post);
    StateStore(const StateStore&) = delete;
    StateStore& operator=(const StateStore&) = delete;
    /// Finishes what was begun; completions are posted still.
    ~StateStore();

    /// Makes the driver known, with the library that its documents must come from from now on.
    void AddDriver(const std::string& driver, const std::string& library);

    /// See StateFolder::Load. Waits for it. Throws FileError.
    LoadedState Load(const std::string& driver, StateFolder::Check check);

    /// Stores a document and posts what became of it.
    void Write(const std::string& driver, DocumentPtr document, Completion done);

    /// Stores a document and waits for it.
    StoreResult WriteNow(const std::string& driver, const std::string& document);

    /// Posts every generation that is kept, without its document.
    void List(const std::string& driver, Listed listed);

    /// Posts one generation; none when there is none of that number.
    void Examine(const std::string& driver, std::uint64_t number, Examined examined);

private:
    struct Listing;

    template <class Job>
    auto RunAndWait(Job job);
    void Enqueue(Work job);
    void EnqueueLook(Work job);
    std::optional<Work> NextJob();
    void Run();
    void BeginListing(const std::shared_ptr<Listing>& listing);
    void GoOnListing(const std::shared_ptr<Listing>& listing);
    void PostListed(const std::shared_ptr<Listing>& listing);
    StoreResult Store(const std::string& driver, const std::string& document);

    FileSystem& files_;
    const std::string root_;
    const std::function<void(Work)> post_;
    std::map<std::string, StateFolder> folders_;  // [store thread]

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Work> jobs_;   // under mutex_
    std::deque<Work> looks_;  // under mutex_; they wait for all jobs
    bool ending_ = false;     // under mutex_
    std::thread thread_;      // last: it uses what stands above
};

}  // namespace driverhost

#endif
