#include "driverhost/runtime/ServiceManager.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "driverhost/runtime/FileDescriptor.h"
#include "host/glue/Log.h"
#include "host/glue/Numbers.h"

namespace driverhost {
namespace {

constexpr timeval kPatience{1, 0};  // with a manager that does not read its socket

std::string FromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

}  // namespace

ServiceManager::ServiceManager() : socketName_(FromEnvironment("NOTIFY_SOCKET")) {
    const std::string process = FromEnvironment("WATCHDOG_PID");
    if (!process.empty() && process != std::to_string(getpid())) return;
    const std::chrono::microseconds interval(dv::ParseLong(FromEnvironment("WATCHDOG_USEC")));
    if (interval.count() <= 0) return;
    watchdogInterval_ = std::chrono::duration_cast<std::chrono::milliseconds>(interval);
}

void ServiceManager::Notify(std::string_view state) const {
    sockaddr_un address{};
    if (socketName_.empty() || socketName_.size() >= sizeof address.sun_path) return;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socketName_.data(), socketName_.size());
    if (socketName_.front() == '@') address.sun_path[0] = '\0';  // an abstract name, outside the file system
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socketName_.size());
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    setsockopt(socket.Get(), SOL_SOCKET, SO_SNDTIMEO, &kPatience, sizeof kPatience);
    const ssize_t sent = sendto(socket.Get(), state.data(), state.size(), MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr*>(&address), length);
    if (sent < 0)
        LogXMessage(dv::LOG_LEVEL_ERROR, "the service manager at %s is not listening", socketName_.c_str());
}

}  // namespace driverhost
