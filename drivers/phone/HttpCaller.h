// HTTP requests to stations, from a thread of their own: a station that does not answer holds up nobody.
#ifndef DRIVERS_PHONE_HTTPCALLER_H
#define DRIVERS_PHONE_HTTPCALLER_H

#include <chrono>
#include <memory>
#include <string>

#include "drivers/phone/PhoneConfig.h"

class IInstanceManager;

class HttpCaller {
public:
    /// The manager outlives the caller.
    HttpCaller(IInstanceManager& instanceManager, std::chrono::milliseconds answerTime);
    /// Gives up what is under way, and returns at once.
    ~HttpCaller();
    HttpCaller(const HttpCaller&) = delete;
    HttpCaller& operator=(const HttpCaller&) = delete;

    /// Sends it, and logs under `name` what the station answers. Does not wait.  [driver thread]
    void Call(const std::string& name, const HttpAction& action);

private:
    class Thread;
    std::unique_ptr<Thread> thread_;
};

#endif
