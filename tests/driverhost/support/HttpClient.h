// A connection that is kept, for requests one after the other, and for what no client should send.
#ifndef TESTS_DRIVERHOST_SUPPORT_HTTPCLIENT_H
#define TESTS_DRIVERHOST_SUPPORT_HTTPCLIENT_H

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "tests/support/process/HttpClient.h"
#include "tests/support/process/Patience.h"

namespace driverhost {

struct HttpAnswer {
    int status = 0;                              // 0: none came
    std::map<std::string, std::string> headers;  // names in small letters
    std::string body;
};

/// Throws std::runtime_error when the other side does not do its part in time.
class HttpConnection {
public:
    explicit HttpConnection(int port, std::chrono::milliseconds patience = test::kPatience);

    /// What the other side does not take is left: what it said can be read still.
    void Send(std::string_view bytes);
    /// Breaks the connection off.
    void Reset() { connection_.Reset(); }
    HttpAnswer ReadAnswer();
    /// Everything up to and with `mark`.
    std::string ReadUntil(std::string_view mark);
    /// Waits for the other side to close, and tells what came until then.
    std::string ReadToEnd();

    HttpAnswer Ask(std::string_view method, std::string_view target, std::string_view form = "",
                   std::string_view headers = "");

private:
    bool Fill();

    test::Connection connection_;
    const std::chrono::milliseconds patience_;
    std::string received_;
};

/// The text of a request. A form makes it one with a body.
std::string RequestText(std::string_view method, std::string_view target, std::string_view form = "",
                        std::string_view headers = "");

/// One request on a connection of its own.
HttpAnswer AskOnce(int port, std::string_view method, std::string_view target, std::string_view form = "",
                   std::string_view headers = "");

/// Repeats the request on new connections until the answer has that status, and returns the last answer. Its
/// status is 0 if the connection was closed without one.
HttpAnswer AskAgainUntil(int port, int status, std::string_view method, std::string_view target,
                         std::string_view form = "");

/// A connection that has read the answer to GET `target`. If the connection is closed before, tries another
/// one: where the time for idle connections is short, a busy machine may be too late with the request.
std::unique_ptr<HttpConnection> AnsweredConnection(int port, std::string_view target);

}  // namespace driverhost

#endif
