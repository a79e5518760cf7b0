// Requests to a driver host, each on a connection of its own.
#ifndef CLIENT_CONNECTION_H
#define CLIENT_CONNECTION_H

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "client/Url.h"

namespace boost::asio::ssl {
class context;
}

/// A host, and what to show and to expect there.
struct Server {
    Url url;
    std::string token;                               // empty: none is sent
    std::string authority;                           // a file; empty: those of the system
    std::shared_ptr<boost::asio::ssl::context> tls;  // with https
};

struct Answer {
    unsigned int status = 0;
    std::string body;
};

class Connection {
public:
    /// Sends the token unless it is empty. With https the host must show a certificate for its name by an
    /// authority in the file `authority`, or by one of the system's when that is empty. Throws WrongUse when
    /// the file cannot be used.
    Connection(Url url, std::string token, std::string authority);

    /// All throw Unreachable when there is no connection, when it breaks, or when no answer comes in time,
    /// and another Failure when the host is not to be trusted.
    Answer Get(const std::string& path) const;
    Answer PostForm(const std::string& path, const Parameters& parameters) const;
    Answer Put(const std::string& path, const std::string& document) const;

    /// Reads a stream that has no end and passes on the bytes as they arrive. Returns when the host closes
    /// the stream, or with the answer if that is not 200. An empty `lastEventId` is not sent.
    Answer Follow(const std::string& path, const std::string& lastEventId,
                  const std::function<void(std::string_view)>& receive) const;

    const Url& Address() const { return server_.url; }

private:
    Server server_;
};

#endif
