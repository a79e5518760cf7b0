#include "host/glue/LiveObjects.h"

#include <atomic>

namespace dv {
namespace {

std::atomic<long> liveObjects{0};

}  // namespace

long LiveObjects::Count() noexcept {
    return liveObjects.load(std::memory_order_relaxed);
}

void LiveObjects::Add(long change) noexcept {
    liveObjects.fetch_add(change, std::memory_order_relaxed);
}

}  // namespace dv
