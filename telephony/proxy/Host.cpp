#include "telephony/proxy/Host.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <charconv>
#include <chrono>
#include <pugixml.hpp>

#include "telephony/proxy/Files.h"

namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::asio::local::stream_protocol;
using boost::system::error_code;

namespace proxy {

namespace {

// The host may hold a command back while another driver is being asked.
constexpr std::chrono::seconds kAnswerTime{5};
constexpr std::uint64_t kMostBytes = 16UL * 1024 * 1024;
constexpr int kHttp11 = 11;
constexpr std::size_t kMostRecords = 100000;  // a list that does not end is no list

using Fields = std::vector<std::pair<std::string, std::string>>;
using Stream = beast::basic_stream<stream_protocol>;

std::string FormEncoded(const Fields& fields) {
    std::string text;
    for (const auto& [name, value] : fields) {
        if (!text.empty()) text += '&';
        text += name + "=";
        for (const char c : value) {
            const auto byte = static_cast<unsigned char>(c);
            text += {'%', "0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
        }
    }
    return text;
}

// One connection for a series of requests. Only asynchronous operations observe a bound, so each is
// started and then run to its end.
class Connection {
public:
    explicit Connection(const std::string& path) : path_(path), stream_(context_) {
        Run([&](auto handler) { stream_.async_connect(stream_protocol::endpoint(path), handler); });
    }

    /// The reply's document; its root.
    pugi::xml_node Get(const std::string& target) {
        return Exchange(http::request<http::string_body>(http::verb::get, target, kHttp11));
    }
    pugi::xml_node Post(const std::string& target, const Fields& fields) {
        http::request<http::string_body> request(http::verb::post, target, kHttp11);
        request.set(http::field::content_type, "application/x-www-form-urlencoded");
        request.body() = FormEncoded(fields);
        return Exchange(std::move(request));
    }

private:
    pugi::xml_node Exchange(http::request<http::string_body> request) {
        request.set(http::field::host, "localhost");
        request.prepare_payload();
        Run([&](auto handler) { http::async_write(stream_, request, handler); });
        http::response_parser<http::string_body> parser;
        parser.body_limit(kMostBytes);
        Run([&](auto handler) { http::async_read(stream_, buffer_, parser, handler); });
        const std::string& body = parser.get().body();
        if (!document_.load_buffer(body.data(), body.size(), pugi::parse_default | pugi::parse_ws_pcdata) &&
            !body.empty())
            throw Failure("the host answers " + std::string(request.target()) + " with what is no XML");
        const http::status status = parser.get().result();
        if (status == http::status::ok || status == http::status::no_content) return document_.first_child();
        throw Failure("the host answers " + std::string(request.target()) + " with " +
                      std::to_string(static_cast<unsigned int>(status)) + ": " +
                      document_.first_child().text().get());
    }

    template <class Start>
    void Run(Start start) {
        error_code result;
        stream_.expires_after(kAnswerTime);
        start([&result](error_code error, auto&&...) { result = error; });
        context_.restart();
        context_.run();
        if (result == beast::error::timeout) throw Failure("the host does not answer on " + path_);
        if (result) throw Failure("the host is not there on " + path_ + ": " + result.message());
    }

    const std::string path_;
    boost::asio::io_context context_;
    Stream stream_;
    beast::flat_buffer buffer_;
    pugi::xml_document document_;
};

std::string Text(pugi::xml_node element, const char* name) {
    return element.child(name).text().get();
}

int Number(pugi::xml_node element, const char* name) {
    const std::string text = Text(element, name);
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

unsigned long Id(const std::string& text) {
    unsigned long number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

bool Is(pugi::xml_node element, const char* name) {
    return Text(element, name) == "true";
}

bool IsNamed(pugi::xml_node element, const char* name) {
    return std::string_view(element.name()) == name;
}

// Reads the agent, whatever name its driver has in this home.
class Reader {
public:
    explicit Reader(const std::string& path) : connection_(path) {
        for (const pugi::xml_node driver : connection_.Get("/drivers").children("driver"))
            if (Text(driver, "library") == "intercom_agent")
                agent_ = "/drivers/" + Text(driver, "id") + "/commands/";
        if (agent_.empty()) throw Failure("no driver of this host's home is an intercom_agent");
    }

    Records Read() {
        Records records;
        ForEach("getConfig", [&](pugi::xml_node e) {
            records.domains.push_back({Text(e, "key"), Text(e, "domain"), Number(e, "port")});
        });
        ForEach("getAcl", [&](pugi::xml_node e) {
            records.access.push_back({Text(e, "key"), Text(e, "peer"), Text(e, "address"), Number(e, "mask"),
                                      Number(e, "port"), Number(e, "family"), Number(e, "transport")});
        });
        ForEach("getRoute", [&](pugi::xml_node e) {
            records.routes.push_back({Text(e, "key"), Text(e, "method"), Text(e, "event"),
                                      Text(e, "matchingPattern"), Text(e, "rewriteExp"), Number(e, "order")});
        });
        for (const pugi::xml_node e : Ask("getServiceList").children("service"))
            records.services.push_back({Text(e, "name"), Text(e, "host"), Text(e, "username")});
        ReadAccounts(records.accounts);
        ReadGroups(records.groups);
        return records;
    }

    bool OfferAddress(const std::string& address) {
        if (*Ask("getSipProxyIP").text().get() != '\0') return false;
        Ask("setSipProxyIP", {{"address", address}});
        return true;
    }

private:
    pugi::xml_node Ask(const std::string& command, const Fields& fields = {}) {
        return connection_.Post(agent_ + command, fields);
    }

    // The agent tells a store's keys by place, and each record by its key.
    template <class Add>
    void ForEach(const std::string& command, Add add) {
        for (std::size_t index = 0; index < kMostRecords; ++index) {
            const pugi::xml_node key = Ask(command, {{"index", std::to_string(index)}});
            if (!IsNamed(key, "key")) return;
            const std::string name = key.text().get();
            const pugi::xml_node record = Ask(command, {{"key", name}});
            if (IsNamed(record, "State")) add(record);  // else it was erased meanwhile
        }
    }

    void ReadAccounts(std::vector<Account>& accounts) {
        for (const pugi::xml_node element : connection_.Get("/sip/accounts").children("account")) {
            Account account;
            account.device = Id(Text(element, "id"));
            account.key = Text(element, "key");
            account.user = Text(element, "user");
            if (account.user.empty()) account.user = account.key;
            account.digest = DigestOf(account.user, Text(element, "password"));
            account.intercomName = Text(element, "intercomName");
            account.forwardAddress = Text(element, "forwardAddress");
            account.doNotDisturb = Is(element, "dnd");
            account.autoAnswer = Is(element, "autoAnswer");
            account.ringDoorbell = Is(element, "ringDoorbell");
            accounts.push_back(std::move(account));
        }
    }

    void ReadGroups(std::vector<Group>& groups) {
        for (const pugi::xml_node element : Ask("getGroupList").children("group")) {
            if (Number(element, "groupId") == 0) continue;  // all devices, which nobody calls by SIP
            Group group;
            group.name = Text(element, "name");
            for (const pugi::xml_node device : element.child("devices").children("device"))
                group.devices.push_back(Id(device.text().get()));
            groups.push_back(std::move(group));
        }
    }

    Connection connection_;
    std::string agent_;
};

}  // namespace

Host::Host(std::string socketPath) : path_(std::move(socketPath)) {}

Records Host::Read() const {
    return Reader(path_).Read();
}

bool Host::OfferAddress(const std::string& address) const {
    return Reader(path_).OfferAddress(address);
}

}  // namespace proxy
