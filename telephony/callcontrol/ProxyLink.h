// What is known of the proxy: the file that it writes at each start, and its connection for events. Kamailio
// hands calls over only while that connection is open.
#ifndef TELEPHONY_CALLCONTROL_PROXYLINK_H
#define TELEPHONY_CALLCONTROL_PROXYLINK_H

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "telephony/callcontrol/LibreLoop.h"
#include "telephony/callcontrol/SipStack.h"

namespace telephony {

/// Throws std::runtime_error when the file is missing, is no such file, or others may read it.
ProxyAccount ReadProxyAccount(const std::filesystem::path& file);

/// Netstrings (LENGTH:TEXT,) of a stream. None while none is whole; throws std::runtime_error when the stream
/// is none.
class NetstringReader {
public:
    void Add(std::string_view bytes) { text_ += bytes; }
    std::optional<std::string> Next();

private:
    std::string text_;
};

class ProxyLink {
public:
    /// What the proxy has written, each time it differs.
    using OnAccount = std::function<void(const ProxyAccount&)>;
    using OnConnected = std::function<void(bool)>;
    using OnMessage = std::function<void(const nlohmann::json&)>;

    ProxyLink(Loop& loop, std::filesystem::path file, OnAccount onAccount, OnConnected onConnected,
              OnMessage onMessage);

private:
    void Look();
    void Connect();
    void OnReady(bool readable, bool writable);
    void Receive();
    void Disconnect(const std::string& why);

    Loop& loop_;
    const std::filesystem::path file_;
    const OnAccount onAccount_;
    const OnConnected onConnected_;
    const OnMessage onMessage_;
    ProxyAccount account_;
    std::string trouble_;  // said last
    bool connected_ = false;
    std::unique_ptr<Descriptor> socket_;
    NetstringReader reader_;
    Timer look_;
};

}  // namespace telephony

#endif
