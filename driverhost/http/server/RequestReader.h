// Turns the bytes of a connection into requests.
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
        NeedHead,  // the head is not complete: more bytes are needed
        HeadDone,  // returned once: the head is complete and can be checked
        NeedBody,  // the body is not complete: more bytes are needed
        Done,      // the request is complete
        Failed     // the connection cannot be used any more; see Failure
    };

    /// Larger heads fail with 431, larger bodies with 413.
    RequestReader(std::size_t headBytes, std::size_t bodyBytes);
    RequestReader(const RequestReader&) = delete;
    RequestReader& operator=(const RequestReader&) = delete;
    ~RequestReader();

    /// Where the next bytes go. Valid until the next call.
    std::span<char> Prepare();
    /// That many bytes were written there.
    void Commit(std::size_t bytes);

    /// Goes on with the bytes that have arrived.
    Progress Advance();

    /// True when a part of the current request has arrived.
    bool HasBegun() const;

    // The head may be used after HeadDone, the body after Done. The views are valid until Next.
    const Request& Get() const;
    bool KeepAlive() const;
    bool ExpectsContinue() const;
    /// Sets a smaller limit for the body of this request. False when the head announces a larger one.
    bool LimitBody(std::size_t bytes);

    /// The size of this request's body: the announced length, or what has arrived when none was announced. 0
    /// if the body is small, as it takes no memory of its own then.
    std::size_t BodyBytes() const;
    /// Frees the memory of the body. The other views stay valid.
    void ForgetBody();

    /// The response after Failed.
    Response Failure() const;

    /// Drops the request. The bytes after it are the beginning of the next one.
    void Next();
    /// Drops all bytes that were not used yet.
    void Discard();

private:
    struct Parser;
    std::unique_ptr<Parser> parser_;
};

}  // namespace driverhost

#endif
