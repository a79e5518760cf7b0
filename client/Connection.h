// Requests to a driver host, one connection each.
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
    /// An empty token is not sent.
    Connection(Url url, std::string token);

    /// All throw Unreachable when there is no connection, or it breaks, or nothing comes in time.
    Answer Get(const std::string& path) const;
    Answer PostForm(const std::string& path, const Parameters& parameters) const;
    Answer Put(const std::string& path, const std::string& document) const;

    /// Reads a stream that has no end and hands over the bytes as they come, first of all none to
    /// tell that the stream is open; returns when the host closes it. An answer other than 200 is returned
    /// instead, with its body. An empty `lastEventId` is not sent.
    Answer Follow(const std::string& path, const std::string& lastEventId,
                  const std::function<void(std::string_view)>& receive) const;

    const Url& Address() const { return url_; }

private:
    Url url_;
    std::string token_;
};

#endif
