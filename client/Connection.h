// Requests to a driver host, each on a connection of its own.
#ifndef CLIENT_CONNECTION_H
#define CLIENT_CONNECTION_H

#include <functional>
#include <string>
#include <string_view>

#include "client/Url.h"

struct Answer {
    unsigned int status = 0;
    std::string body;
};

class Connection {
public:
    /// Sends the token unless it is empty.
    Connection(Url url, std::string token);

    /// All throw Unreachable when there is no connection, when it breaks, or when no answer comes in time.
    Answer Get(const std::string& path) const;
    Answer PostForm(const std::string& path, const Parameters& parameters) const;
    Answer Put(const std::string& path, const std::string& document) const;

    /// Reads a stream that has no end and passes on the bytes as they arrive. Returns when the host closes
    /// the stream, or with the answer if that is not 200. An empty `lastEventId` is not sent.
    Answer Follow(const std::string& path, const std::string& lastEventId,
                  const std::function<void(std::string_view)>& receive) const;

    const Url& Address() const { return url_; }

private:
    Url url_;
    std::string token_;
};

#endif
