#include "drivers/calls/Alarm.h"

#include <utility>

#include "host/interfaces/IInstanceManager.h"

Alarm::Alarm(IInstanceManager& instanceManager, std::function<void()> ring)
    : instanceManager_(instanceManager),
      ring_(std::move(ring)),
      alive_(std::make_shared<Alarm*>(this)),
      thread_([this] { Run(); }) {}

Alarm::~Alarm() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void Alarm::Set(std::optional<Clock::time_point> time) {
    {
        const std::lock_guard lock(mutex_);
        if (time_ == time) return;
        time_ = time;
    }
    changed_.notify_one();
}

void Alarm::Run() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        if (!time_) {
            changed_.wait(lock);
        } else if (const auto time = *time_; Clock::now() < time) {
            changed_.wait_until(lock, time);
        } else {
            time_.reset();
            Post();
        }
    }
}

void Alarm::Post() {
    instanceManager_.PostToDriverThread([weak = std::weak_ptr(alive_)] {
        if (const auto alive = weak.lock()) (*alive)->ring_();
    });
}
