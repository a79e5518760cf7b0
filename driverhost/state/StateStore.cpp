#include "driverhost/state/StateStore.h"

#include <pthread.h>

#include <chrono>
#include <future>
#include <memory>
#include <utility>

namespace driverhost {

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

void StateStore::AddDriver(const std::string& driver, const std::string& library) {
    folders_.try_emplace(driver, files_, root_, driver, library);
}

template <class Job>
auto StateStore::RunAndWait(Job job) {
    // Shared with the job, which still holds it when the result wakes the waiting thread.
    const auto task = std::make_shared<std::packaged_task<decltype(job())()>>(std::move(job));
    auto result = task->get_future();
    Enqueue([task] { (*task)(); });
    return result.get();
}

LoadedState StateStore::Load(const std::string& driver, StateFolder::Check check) {
    return RunAndWait([this, &driver, &check] { return folders_.at(driver).Load(check); });
}

void StateStore::Write(const std::string& driver, std::string document, Completion done) {
    Enqueue([this, driver, document = std::move(document), done = std::move(done)]() mutable {
        const StoreResult result = Store(driver, document);
        // Moved, so that nothing of the driver thread's is released on this one.
        post_([done = std::move(done), result] { done(result); });
    });
}

StoreResult StateStore::WriteNow(const std::string& driver, const std::string& document) {
    return RunAndWait([this, &driver, &document] { return Store(driver, document); });
}

void StateStore::Enqueue(Work job) {
    {
        const std::lock_guard lock(mutex_);
        jobs_.push_back(std::move(job));
    }
    wake_.notify_one();
}

void StateStore::Run() {
    pthread_setname_np(pthread_self(), "state store");
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return ending_ || !jobs_.empty(); });
        if (jobs_.empty()) return;
        Work job = std::move(jobs_.front());
        jobs_.pop_front();
        lock.unlock();
        job();
        job = nullptr;
        lock.lock();
    }
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
