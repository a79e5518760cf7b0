// The unix socket where drivers and tools connect. Only processes of this user are let in.
#ifndef TELEPHONY_CALLCONTROL_CLIENTSERVER_H
#define TELEPHONY_CALLCONTROL_CLIENTSERVER_H

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
};

}  // namespace telephony

#endif
