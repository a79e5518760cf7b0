// What a running Kamailio is told: JSON-RPC by datagrams to a socket in its folder.
#ifndef TELEPHONY_PROXY_RPC_H
#define TELEPHONY_PROXY_RPC_H

#include <chrono>
#include <string>
#include <vector>

namespace proxy {

class Rpc {
public:
    explicit Rpc(std::string folder);

    /// Throws Failure when Kamailio does not answer in time, or answers with an error.
    void Call(const std::string& method, const std::vector<std::string>& parameters = {},
              std::chrono::milliseconds most = std::chrono::seconds(2));

    /// Whether it answers yet.
    bool Answers();

private:
    const std::string folder_;
    int lastId_ = 0;
};

}  // namespace proxy

#endif
