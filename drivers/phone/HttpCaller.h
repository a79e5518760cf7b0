// HTTP requests to stations, from a thread of their own: a station that does not answer holds up nobody.
#ifndef DRIVERS_PHONE_HTTPCALLER_H
#define DRIVERS_PHONE_HTTPCALLER_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "drivers/phone/PhoneConfig.h"

class IInstanceManager;

/// Neither credentials nor the path of an address are ever logged.
class HttpCaller {
public:
    /// More requests are not under way at once.
    static constexpr int kMostRequests = 8;

    /// The manager outlives the caller.
    HttpCaller(IInstanceManager& instanceManager, std::chrono::milliseconds answerTime);
    /// Gives up what is under way, and returns at once.
    ~HttpCaller();
    HttpCaller(const HttpCaller&) = delete;
    HttpCaller& operator=(const HttpCaller&) = delete;

    /// Whether the station has done it. Told on the driver thread, and never after the caller is gone.
    using Done = std::function<void(bool)>;
    /// Sends it, and logs under `name` what the station answers. Does not wait. False when kMostRequests are
    /// under way; then it is not sent, and `done` not called.  [driver thread]
    bool Call(const std::string& name, const HttpAction& action, Done done = {});

private:
    class Thread;
    std::shared_ptr<bool> alive_;  // what is posted may be carried out after the end
    std::unique_ptr<Thread> thread_;
};

#endif
