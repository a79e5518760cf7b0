// A phone that speaks as much SIP as a test of the proxy needs, over UDP. It answers nothing by itself,
// so that a test sees each message.
#ifndef TESTS_TELEPHONY_PROXY_SUPPORT_SIPPHONE_H
#define TESTS_TELEPHONY_PROXY_SUPPORT_SIPPHONE_H

#include <chrono>
#include <optional>
#include <string>

#include "tests/support/process/Patience.h"

namespace proxy {

struct SipRequest {
    std::string method;
    std::string address;                   // as in "sip:hall@127.0.0.1"
    std::optional<std::string> from = {};  // else the phone's own
    std::optional<std::string> to = {};    // else `address`
    std::string headers = {};              // whole lines
};

class SipPhone {
public:
    /// `proxy` is an address without port; the phone has the same unless `own` says otherwise.
    SipPhone(std::string user, std::string password, std::string proxy, std::string own = "");
    ~SipPhone();
    SipPhone(const SipPhone&) = delete;
    SipPhone& operator=(const SipPhone&) = delete;

    /// Sends the request, answers a challenge once, and returns the last answer's status; 0 when none came in
    /// that time.
    int Ask(const SipRequest& request, std::chrono::milliseconds most = test::kPatience);
    int Register(std::chrono::milliseconds most = test::kPatience);
    /// The whole last answer.
    const std::string& Answer() const { return answer_; }

    /// Sends the request once and does not wait.
    void Send(const SipRequest& request, const std::string& authorization = "");
    void SendBytes(const std::string& bytes) const;

    /// The next message; empty when none comes.
    std::string Receive(std::chrono::milliseconds most = test::kPatience);
    /// Answers a request that was received.
    void Reply(const std::string& request, const std::string& status);

    /// As it stands in Contact: "127.0.0.1:40123".
    const std::string& Address() const { return address_; }
    const std::string& CallId() const { return callId_; }

private:
    std::string Authorization(const SipRequest& request) const;
    int FinalAnswer(std::chrono::milliseconds most);

    const std::string user_;
    const std::string password_;
    const std::string proxy_;
    int socket_;
    std::string address_;
    std::string callId_;
    std::string answer_;
    int sequence_ = 0;
};

/// The value of the first header of that name; empty when there is none.
std::string HeaderOf(const std::string& message, const std::string& name);

}  // namespace proxy

#endif
