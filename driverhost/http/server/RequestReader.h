// Makes requests of the bytes of a connection, as they come.
#ifndef DRIVERHOST_HTTP_SERVER_REQUESTREADER_H
#define DRIVERHOST_HTTP_SERVER_REQUESTREADER_H

#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "driverhost/http/Message.h"

namespace driverhost {

class RequestReader {
public:
    enum class Progress {
        NeedHead,  // more bytes are needed, the head is not complete
        HeadDone,  // told once: the head can be looked at
        NeedBody,  // more bytes are needed, the body is not complete
        Done,      // the request is complete
        Failed     // see Failure; the connection can only be closed
    };

    /// Heads larger than `headBytes` fail with 431, bodies larger than `bodyBytes` with 413.
    RequestReader(std::size_t headBytes, std::size_t bodyBytes);
    RequestReader(const RequestReader&) = delete;
    RequestReader& operator=(const RequestReader&) = delete;
    ~RequestReader();

    /// Room for the next bytes; valid until the next call.
    std::span<char> Prepare();
    /// So many were filled in.
    void Commit(std::size_t bytes);

    /// Goes on with what has come.
    Progress Advance();

    /// True when something of the current request has come.
    bool HasBegun() const;

    // From HeadDone on; the body from Done on. Views are valid until Next.
    const Request& Get() const;
    bool KeepAlive() const;
    bool ExpectsContinue() const;
    /// A smaller limit for this request's body; false when its length is known to be beyond.
    bool LimitBody(std::size_t bytes);

    /// The size of this request's body: what its head promises, or what has come when it promises nothing. 0
    /// for a small body, which takes no memory of its own.
    std::size_t BodyBytes() const;
    /// The request is answered: gives that memory back. The views but that of the body stay.
    void ForgetBody();

    /// The answer to what Failed.
    Response Failure() const;

    /// Forgets the request; bytes behind it are the beginning of the next one.
    void Next();
    /// Forgets everything that has come.
    void Discard();

private:
    struct Parser;
    std::unique_ptr<Parser> parser_;
};

}  // namespace driverhost

#endif
