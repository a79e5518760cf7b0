#include "telephony/callcontrol/LibreLoop.h"

#include <unistd.h>

#include <new>

#include "telephony/callcontrol/Libre.h"

namespace telephony {
namespace {

// libre's signal handler has no argument; there is one loop in a process.
std::function<void()> signalHandler;

}  // namespace

struct LibreLoop::Pending {
    LibreLoop* loop;
    TimerId id;
    std::function<void()> callback;
    struct tmr timer;
};

LibreLoop::LibreLoop() {
    if (libre_init() != 0) throw std::bad_alloc();
    fd_setsize(1024);
}

LibreLoop::~LibreLoop() {
    while (!pending_.empty())
        Forget(pending_.begin()->first);
    libre_close();
}

Loop::TimePoint LibreLoop::Now() const {
    return std::chrono::steady_clock::now();
}

Loop::TimerId LibreLoop::After(std::chrono::milliseconds delay, std::function<void()> callback) {
    const TimerId id = next_++;
    auto pending = std::make_unique<Pending>(Pending{this, id, std::move(callback), {}});
    tmr_init(&pending->timer);
    tmr_start(&pending->timer, static_cast<std::uint64_t>(delay.count()), &LibreLoop::Fire, pending.get());
    pending_[id] = std::move(pending);
    return id;
}

void LibreLoop::Forget(TimerId id) {
    const auto found = pending_.find(id);
    if (found == pending_.end()) return;
    tmr_cancel(&found->second->timer);
    pending_.erase(found);
}

void LibreLoop::Fire(void* argument) {
    auto* pending = static_cast<Pending*>(argument);
    LibreLoop& loop = *pending->loop;
    const auto node = loop.pending_.extract(pending->id);
    node.mapped()->callback();
}

void LibreLoop::Run(std::function<void()> onSignal) {
    signalHandler = std::move(onSignal);
    re_main([](int) { signalHandler(); });
    signalHandler = nullptr;
}

void LibreLoop::Stop() {
    re_cancel();
}

Descriptor::~Descriptor() {
    if (ready_) fd_close(number_);
    close(number_);
}

void Descriptor::Watch(bool readable, bool writable, Ready ready) {
    ready_ = std::move(ready);
    fd_listen(number_, (readable ? FD_READ : 0) | (writable ? FD_WRITE : 0), &Descriptor::OnReady, this);
}

void Descriptor::OnReady(int flags, void* argument) {
    // A copy: the callback may watch anew, or destroy this.
    const Ready ready = static_cast<Descriptor*>(argument)->ready_;
    ready((flags & (FD_READ | FD_EXCEPT)) != 0, (flags & FD_WRITE) != 0);
}

}  // namespace telephony
