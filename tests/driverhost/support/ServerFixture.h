// A host with a server on a free port. The test thread runs the loop, and the client has a thread of its own.
#ifndef TESTS_DRIVERHOST_SUPPORT_SERVERFIXTURE_H
#define TESTS_DRIVERHOST_SUPPORT_SERVERFIXTURE_H

#include <future>

#include "driverhost/http/server/Server.h"
#include "tests/driverhost/support/HostFixture.h"
#include "tests/driverhost/support/HttpClient.h"

namespace driverhost {

class ServerFixture : public HostFixture {
protected:
    ServerFixture() {
        for (auto* time : {&limits_.headTime, &limits_.bodyTime, &limits_.idleTime, &limits_.lingerTime,
                           &limits_.writeTime})
            *time = test::kPatience;  // a test about one of them makes it short
        limits_.tick = std::chrono::milliseconds(20);
    }

    /// Starts the drivers, and serves them.
    void Listen() {
        Start();
        server_.emplace(thread_, ListenAddress{"127.0.0.1", 0}, limits_);
        server_->Start(*routes_, events_, metrics_);
        port_ = server_->Address().port;
    }

    /// Runs the client, and the loop until the client has finished.
    template <class Client>
    auto With(Client client) {
        auto result = std::async(std::launch::async, client);
        while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
            Turn(std::chrono::milliseconds(5));
        return result.get();
    }

    std::string ConversationOf(const std::string& bytes) {
        return With([&] {
            HttpConnection connection(port_);
            connection.Send(bytes);
            return connection.ReadToEnd();
        });
    }

    std::optional<Server> server_;
};

}  // namespace driverhost

#endif
