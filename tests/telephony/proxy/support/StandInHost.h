// Answers as a driver host with an agent does on its unix socket, as far as sipproxy asks.
#ifndef TESTS_TELEPHONY_PROXY_SUPPORT_STANDINHOST_H
#define TESTS_TELEPHONY_PROXY_SUPPORT_STANDINHOST_H

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace proxy {

/// What the host tells of a device on GET /sip/accounts.
struct HostAccount {
    unsigned long id = 0;
    std::string user;
    std::string password;
    std::string intercomName;
    bool dnd = false;
    bool autoAnswer = false;
    bool ringDoorbell = false;
    std::string forwardAddress = {};
};

/// A record as the agent's replies show it: names and values in order, the key first.
using HostRecord = std::vector<std::pair<std::string, std::string>>;

struct HostHome {
    std::vector<HostRecord> configs;
    std::vector<HostRecord> acls;
    std::vector<HostRecord> routes;
    std::vector<HostAccount> accounts;
    std::map<std::string, std::vector<unsigned long>> groups;
    std::vector<HostRecord> services;
    std::string sipProxyIp;
};

class StandInHost {
public:
    StandInHost(const std::string& socketPath, HostHome home);
    /// Ends all connections and removes the socket.
    ~StandInHost();
    StandInHost(const StandInHost&) = delete;
    StandInHost& operator=(const StandInHost&) = delete;

    /// Replaces what the host knows and tells readers of the event stream that something changed.
    void Change(HostHome home);
    HostHome Home() const;
    /// How often its accounts have been asked for.
    int Reads() const { return reads_; }

private:
    using Socket = boost::asio::local::stream_protocol::socket;

    void Accept();
    void Serve(Socket& socket);
    void Follow(Socket& socket);
    std::string Answer(const std::string& target, const std::map<std::string, std::string>& fields);
    std::string Record(const std::vector<HostRecord>& records,
                       const std::map<std::string, std::string>& fields) const;

    mutable std::mutex mutex_;
    HostHome home_;
    std::atomic<int> changes_ = 0;
    std::atomic<int> reads_ = 0;
    std::atomic<bool> ending_ = false;
    const std::string path_;
    boost::asio::io_context context_;
    boost::asio::local::stream_protocol::acceptor acceptor_;
    std::list<Socket> sockets_;
    std::list<std::thread> threads_;
};

}  // namespace proxy

#endif
