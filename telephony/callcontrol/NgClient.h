// Asks rtpengine by its ng protocol: a datagram there, one back with the same cookie.
#ifndef TELEPHONY_CALLCONTROL_NGCLIENT_H
#define TELEPHONY_CALLCONTROL_NGCLIENT_H

#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "telephony/callcontrol/Loop.h"

namespace telephony {

struct NgReply {
    bool ok = false;
    bool answered = false;                             // false: nothing came back in time
    std::string reason;                                // why it is not ok
    nlohmann::json values = nlohmann::json::object();  // all that came

    std::string Sdp() const { return values.value("sdp", std::string()); }
    /// rtpengine has lost the call, which it does when it is started anew.
    bool CallIsUnknown() const;
};

class NgClient {
public:
    using Send = std::function<void(std::string_view datagram)>;
    using Handler = std::function<void(const NgReply&)>;

    NgClient(Loop& loop, Send send);
    ~NgClient();

    /// Sends the request and calls back once: with the reply, or after two seconds without one. rtpengine
    /// answers the same cookie with the same reply, so a request that is sent again is not done twice.
    void Ask(nlohmann::json request, Handler handler);

    /// What arrived from rtpengine's address. What is no reply to a request under way is passed over.
    void Receive(std::string_view datagram);

    /// Requests that rtpengine has answered with an error, and those without an answer.
    std::uint64_t Refusals() const { return refusals_; }
    std::uint64_t Silences() const { return silences_; }

private:
    struct Question;

    void SendAgain(const std::string& cookie);
    void Finish(const std::string& cookie, const NgReply& reply);

    Loop& loop_;
    const Send send_;
    const std::string prefix_;  // of the cookies: rtpengine remembers those of an earlier process for a while
    std::uint64_t next_ = 1;
    std::uint64_t refusals_ = 0;
    std::uint64_t silences_ = 0;
    std::map<std::string, std::unique_ptr<Question>, std::less<>> questions_;
};

}  // namespace telephony

#endif
