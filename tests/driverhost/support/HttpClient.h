// A connection that stays open, for one request after the other, and for bytes that no client should send.
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
    int status = 0;                              // 0: there was no answer
    std::map<std::string, std::string> headers;  // names in lower case
    std::string body;
};

/// Throws std::runtime_error when the other side is not in time.
class HttpConnection {
public:
    explicit HttpConnection(int port, std::chrono::milliseconds patience = test::kPatience);

    /// Drops bytes that the other side does not take; its answer can still be read.
    void Send(std::string_view bytes);
    /// Breaks the connection off.
    void Reset() { connection_.Reset(); }
    HttpAnswer ReadAnswer();
    /// Everything up to and with `mark`.
    std::string ReadUntil(std::string_view mark);
    /// Everything until the other side closes the connection.
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
