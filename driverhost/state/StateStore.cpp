#include "driverhost/state/StateStore.h"

#include <pthread.h>

#include <chrono>
#include <future>
#include <memory>
#include <utility>

namespace driverhost {
namespace {

StoreResult Store(StateFolder& folder, const std::string& document) {
    const auto start = std::chrono::steady_clock::now();
    StoreResult result;
    try {
        folder.Store(document);
    } catch (const std::exception& error) {
        result.error = error.what();
    }
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}

}  // namespace

// Each generation is looked at in a job of its own, so that a document to be written waits for one
// generation at most.
struct StateStore::Listing {
    FolderPtr folder;
    Listed listed;
    std::vector<std::uint64_t> numbers;
    std::size_t next = 0;
    std::vector<Generation> found;
    std::string error;
};

StateStore::StateStore(FileSystem& files, std::string root, std::function<void(Work)> post)
    : files_(files), root_(std::move(root)), post_(std::move(post)), thread_([this] { Run(); }) {}

StateStore::~StateStore() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

template <class Job>
auto StateStore::RunAndWait(Job job) {
    // Shared with the job, which still holds it when the result wakes the waiting thread.
    const auto task = std::make_shared<std::packaged_task<decltype(job())()>>(std::move(job));
    auto result = task->get_future();
    Enqueue([task] { (*task)(); });
    return result.get();
}

// Jobs hold their folder, so the map itself is used by the driver thread alone.
void StateStore::AddDriver(const std::string& driver, const std::string& library) {
    folders_[driver] = std::make_shared<StateFolder>(files_, root_, driver, library);
}

void StateStore::RemoveDriver(const std::string& driver) {
    folders_.erase(driver);
}

LoadedState StateStore::Load(const std::string& driver, const StateFolder::Check& check) {
    return RunAndWait([folder = folders_.at(driver), &check] { return folder->Load(check); });
}

void StateStore::Write(const std::string& driver, DocumentPtr document, Completion done) {
    Enqueue([this, folder = folders_.at(driver), document = std::move(document),
             done = std::move(done)]() mutable {
        const StoreResult result = Store(*folder, *document);
        // Moved: nothing that belongs to the driver thread may be destroyed on this one.
        post_([done = std::move(done), result] { done(result); });
        folder->DropOldest();  // after the result: nobody waits for this
    });
}

StoreResult StateStore::WriteNow(const std::string& driver, const std::string& document) {
    const FolderPtr folder = folders_.at(driver);
    const StoreResult result = RunAndWait([folder, &document] { return Store(*folder, document); });
    Enqueue([folder] { folder->DropOldest(); });
    return result;
}

void StateStore::Examine(const std::string& driver, std::uint64_t number, Examined examined) {
    EnqueueWhenIdle([this, folder = folders_.at(driver), number, examined = std::move(examined)]() mutable {
        std::optional<Generation> found;
        std::string fault;
        try {
            found = folder->Examine(number);
        } catch (const std::exception& error) {
            fault = error.what();
        }
        post_([examined = std::move(examined), found = std::move(found), fault = std::move(fault)] {
            examined(found, fault);
        });
    });
}

void StateStore::List(const std::string& driver, Listed listed) {
    const auto listing =
        std::make_shared<Listing>(Listing{folders_.at(driver), std::move(listed), {}, 0, {}, {}});
    EnqueueWhenIdle([this, listing] { BeginListing(listing); });
}

void StateStore::BeginListing(const std::shared_ptr<Listing>& listing) {
    try {
        listing->numbers = listing->folder->Numbers();
    } catch (const std::exception& error) {
        listing->error = error.what();
    }
    ContinueListing(listing);
}

// A generation that was dropped since its number was read is left out.
void StateStore::ContinueListing(const std::shared_ptr<Listing>& listing) {
    if (listing->next == listing->numbers.size()) return PostListed(listing);
    try {
        if (auto generation = listing->folder->Examine(listing->numbers[listing->next++])) {
            generation->document.clear();
            listing->found.push_back(std::move(*generation));
        }
    } catch (const std::exception& error) {
        listing->error = error.what();
        return PostListed(listing);
    }
    EnqueueWhenIdle([this, listing] { ContinueListing(listing); });
}

void StateStore::PostListed(const std::shared_ptr<Listing>& listing) {
    post_([listed = std::move(listing->listed), found = std::move(listing->found),
           error = std::move(listing->error)] { listed(found, error); });
}

void StateStore::Enqueue(Work job) {
    {
        const std::lock_guard lock(mutex_);
        jobs_.push_back(std::move(job));
    }
    wake_.notify_one();
}

void StateStore::EnqueueWhenIdle(Work job) {
    {
        const std::lock_guard lock(mutex_);
        whenIdleJobs_.push_back(std::move(job));
    }
    wake_.notify_one();
}

// No job means that the store ends.
std::optional<StateStore::Work> StateStore::NextJob() {
    std::unique_lock lock(mutex_);
    wake_.wait(lock, [this] { return ending_ || !jobs_.empty() || !whenIdleJobs_.empty(); });
    std::deque<Work>& queue = jobs_.empty() ? whenIdleJobs_ : jobs_;
    if (queue.empty()) return std::nullopt;
    Work job = std::move(queue.front());
    queue.pop_front();
    return job;
}

void StateStore::Run() {
    pthread_setname_np(pthread_self(), "state store");
    while (auto job = NextJob())
        (*job)();
}

}  // namespace driverhost
