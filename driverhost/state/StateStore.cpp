#include "driverhost/state/StateStore.h"

#include <pthread.h>

#include <chrono>
#include <future>
#include <memory>
#include <utility>

namespace driverhost {

// Each generation is a job of its own, so that what is to be written waits for one of them at most.
struct StateStore::Listing {
    StateFolder& folder;
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

void StateStore::AddDriver(const std::string& driver, const std::string& library) {
    RunAndWait([&] {
        folders_.erase(driver);
        folders_.try_emplace(driver, files_, root_, driver, library);
    });
}

LoadedState StateStore::Load(const std::string& driver, StateFolder::Check check) {
    return RunAndWait([this, &driver, &check] { return folders_.at(driver).Load(check); });
}

void StateStore::Write(const std::string& driver, DocumentPtr document, Completion done) {
    Enqueue([this, driver, document = std::move(document), done = std::move(done)]() mutable {
        const StoreResult result = Store(driver, *document);
        // Moved, so that nothing of the driver thread's is released on this one.
        post_([done = std::move(done), result] { done(result); });
        folders_.at(driver).DropOldest();  // nobody waits for that
    });
}

StoreResult StateStore::WriteNow(const std::string& driver, const std::string& document) {
    const StoreResult result = RunAndWait([this, &driver, &document] { return Store(driver, document); });
    Enqueue([this, driver] { folders_.at(driver).DropOldest(); });
    return result;
}

void StateStore::Examine(const std::string& driver, std::uint64_t number, Examined examined) {
    EnqueueLook([this, &folder = folders_.at(driver), number, examined = std::move(examined)]() mutable {
        std::optional<Generation> found;
        std::string fault;
        try {
            found = folder.Examine(number);
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
    EnqueueLook([this, listing] { BeginListing(listing); });
}

void StateStore::BeginListing(const std::shared_ptr<Listing>& listing) {
    try {
        listing->numbers = listing->folder.Numbers();
    } catch (const std::exception& error) {
        listing->error = error.what();
    }
    GoOnListing(listing);
}

// What was dropped meanwhile is left out.
void StateStore::GoOnListing(const std::shared_ptr<Listing>& listing) {
    if (listing->next == listing->numbers.size()) return PostListed(listing);
    try {
        if (auto generation = listing->folder.Examine(listing->numbers[listing->next++])) {
            generation->document.clear();
            listing->found.push_back(std::move(*generation));
        }
    } catch (const std::exception& error) {
        listing->error = error.what();
        return PostListed(listing);
    }
    EnqueueLook([this, listing] { GoOnListing(listing); });
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

void StateStore::EnqueueLook(Work job) {
    {
        const std::lock_guard lock(mutex_);
        looks_.push_back(std::move(job));
    }
    wake_.notify_one();
}

// None at the end.
std::optional<StateStore::Work> StateStore::NextJob() {
    std::unique_lock lock(mutex_);
    wake_.wait(lock, [this] { return ending_ || !jobs_.empty() || !looks_.empty(); });
    std::deque<Work>& queue = jobs_.empty() ? looks_ : jobs_;
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

StoreResult StateStore::Store(const std::string& driver, const std::string& document) {
    const auto start = std::chrono::steady_clock::now();
    StoreResult result;
    try {
        folders_.at(driver).Store(document);
    } catch (const std::exception& error) {
        result.error = error.what();
    }
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}

}  // namespace driverhost
