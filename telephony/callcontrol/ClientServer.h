// The unix socket where drivers and tools connect. Only processes of this user are let in.
#ifndef TELEPHONY_CALLCONTROL_CLIENTSERVER_H
#define TELEPHONY_CALLCONTROL_CLIENTSERVER_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "telephony/callcontrol/CallTable.h"
#include "telephony/callcontrol/LibreLoop.h"
#include "telephony/protocol/Lines.h"

namespace telephony {

class ClientServer {
public:
    /// Listens; the socket's mode is 0600. A socket that an earlier process left is replaced. Throws
    /// std::runtime_error when that cannot be done, or another process listens there.
    ClientServer(Loop& loop, CallTable& table, std::string path);
    ~ClientServer();
    ClientServer(const ClientServer&) = delete;
    ClientServer& operator=(const ClientServer&) = delete;

    /// Connections that were not let in, and those that were closed for a fault.
    std::uint64_t Refused() const { return refused_; }
    std::uint64_t Closed() const { return closed_; }

private:
    class Connection;

    void Accept();
    void Drop(Connection& connection, const std::string& why);

    Loop& loop_;
    CallTable& table_;
    const std::string path_;
    std::unique_ptr<Descriptor> socket_;
    std::map<Connection*, std::unique_ptr<Connection>> connections_;
    int next_ = 1;
    std::uint64_t refused_ = 0;
    std::uint64_t closed_ = 0;
};

}  // namespace telephony

#endif
