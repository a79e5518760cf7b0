#include "driverhost/http/server/LocalSocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>

#include "driverhost/http/server/Server.h"
#include "driverhost/runtime/Fault.h"

namespace driverhost {
namespace {

ListenError Refusal(const std::string& path, const std::string& reason) {
    return ListenError("cannot listen on the unix socket " + path + ": " + reason +
                       "; --socket takes another path");
}

// The state folder's lock has made sure that no host uses this one any more.
void RemoveOld(const std::string& path) {
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0) return;
    if (!S_ISSOCK(found.st_mode)) throw Refusal(path, "there is something that is no socket");
    if (::unlink(path.c_str()) != 0) throw Refusal(path, SystemReason());
}

}  // namespace

LocalSocket::LocalSocket(boost::asio::io_context& loop, const std::string& path)
    : path_(path), acceptor_(loop) {
    if (path.size() >= sizeof(sockaddr_un::sun_path))
        throw Refusal(path,
                      "it has more than " + std::to_string(sizeof(sockaddr_un::sun_path) - 1) + " bytes");
    RemoveOld(path);
    try {
        acceptor_.open();
        ::fcntl(acceptor_.native_handle(), F_SETFD, FD_CLOEXEC);
        // The file gets the socket's own mode, so that there is no moment in which others could open it.
        ::fchmod(acceptor_.native_handle(), S_IRUSR | S_IWUSR);
        acceptor_.bind(Protocol::endpoint(path));
        acceptor_.listen();
        acceptor_.non_blocking(true);
    } catch (const boost::system::system_error& error) {
        throw Refusal(path, error.code().message());
    }
}

LocalSocket::~LocalSocket() {
    ::unlink(path_.c_str());
}

bool LocalSocket::IsOwnUser(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
    return peer.uid == ::geteuid() || peer.uid == 0;
}

}  // namespace driverhost
