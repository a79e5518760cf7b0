#include "tests/telephony/proxy/support/StandInHost.h"

#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <chrono>

namespace http = boost::beast::http;
using boost::asio::local::stream_protocol;
using boost::system::error_code;

namespace proxy {

namespace {

std::string Escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80 && std::string_view("<>&\"'\r\n\t").find(c) != std::string_view::npos)
            result += "&#" + std::to_string(byte) + ";";
        else
            result += c;
    }
    return result;
}

std::string Element(const std::string& name, const std::string& text) {
    return "<" + name + ">" + Escaped(text) + "</" + name + ">";
}

std::string Elements(const HostRecord& record) {
    std::string text;
    for (const auto& [name, value] : record)
        text += Element(name, value);
    return text;
}

std::map<std::string, std::string> Fields(const std::string& form) {
    std::map<std::string, std::string> fields;
    std::string name, text;
    for (std::size_t at = 0; at <= form.size(); ++at) {
        if (at == form.size() || form[at] == '&') {
            fields[name] = text;
            name.clear();
            text.clear();
        } else if (form[at] == '=') {
            name = text;
            text.clear();
        } else if (form[at] == '%') {
            text += static_cast<char>(std::stoi(form.substr(at + 1, 2), nullptr, 16));
            at += 2;
        } else {
            text += form[at];
        }
    }
    return fields;
}

std::string Account(const HostAccount& account) {
    const auto flag = [](bool on) { return on ? "true" : "false"; };
    return "<account>" + Element("id", std::to_string(account.id)) + Element("key", account.user) +
           Element("user", account.user) + Element("password", account.password) +
           Element("intercomName", account.intercomName) + Element("forwardAddress", account.forwardAddress) +
           Element("dnd", flag(account.dnd)) + Element("autoAnswer", flag(account.autoAnswer)) +
           Element("ringDoorbell", flag(account.ringDoorbell)) + "</account>";
}

}  // namespace

StandInHost::StandInHost(const std::string& socketPath, HostHome home)
    : home_(std::move(home)), path_(socketPath), acceptor_(context_, stream_protocol::endpoint(socketPath)) {
    threads_.emplace_back([this] { Accept(); });
}

StandInHost::~StandInHost() {
    ending_ = true;
    ::shutdown(acceptor_.native_handle(), SHUT_RDWR);
    threads_.front().join();
    threads_.pop_front();
    for (Socket& socket : sockets_)
        ::shutdown(socket.native_handle(), SHUT_RDWR);
    for (std::thread& thread : threads_)
        thread.join();
    ::unlink(path_.c_str());
}

void StandInHost::Change(HostHome home) {
    const std::lock_guard lock(mutex_);
    home_ = std::move(home);
    ++changes_;
}

HostHome StandInHost::Home() const {
    const std::lock_guard lock(mutex_);
    return home_;
}

void StandInHost::Accept() {
    while (!ending_) {
        Socket& socket = sockets_.emplace_back(context_);
        error_code error;
        acceptor_.accept(socket, error);
        if (error) return static_cast<void>(sockets_.pop_back());
        threads_.emplace_back([this, &socket] { Serve(socket); });
    }
}

void StandInHost::Serve(Socket& socket) {
    boost::beast::flat_buffer buffer;
    for (;;) {
        http::request<http::string_body> request;
        error_code error;
        http::read(socket, buffer, request, error);
        if (error) return static_cast<void>(::shutdown(socket.native_handle(), SHUT_RDWR));
        const std::string target(request.target());
        if (target == "/events") return Follow(socket);
        http::response<http::string_body> response(http::status::ok, 11);
        response.body() = Answer(target, Fields(request.body()));
        response.prepare_payload();
        http::write(socket, response, error);
    }
}

void StandInHost::Follow(Socket& socket) {
    error_code error;
    const auto send = [&](const std::string& text) {
        boost::asio::write(socket, boost::asio::buffer(text), error);
    };
    int told = changes_;
    send("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n");
    while (!ending_ && !error) {
        if (told != changes_) {
            told = changes_;
            send("id: 1\ndata: <DeviceChanged/>\n\n");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

std::string StandInHost::Answer(const std::string& target, const std::map<std::string, std::string>& fields) {
    const std::lock_guard lock(mutex_);
    const std::string command = target.substr(target.rfind('/') + 1);
    std::string text;
    if (target == "/drivers")
        return "<drivers><driver><id>101</id><name>hall</name><library>phone</library></driver>"
               "<driver><id>1</id><name>agent</name><library>intercom_agent</library></driver></drivers>";
    if (target == "/sip/accounts") {
        ++reads_;
        for (const HostAccount& account : home_.accounts)
            text += Account(account);
        return "<accounts>" + text + "</accounts>";
    }
    if (!target.starts_with("/drivers/1/commands/")) return "<fail>no such thing</fail>";
    if (command == "getConfig") return Record(home_.configs, fields);
    if (command == "getAcl") return Record(home_.acls, fields);
    if (command == "getRoute") return Record(home_.routes, fields);
    if (command == "getServiceList") {
        for (const HostRecord& service : home_.services)
            text += "<service>" + Elements(service) + "</service>";
        return "<services>" + text + "</services>";
    }
    if (command == "getSipProxyIP") return Element("sipProxyIP", home_.sipProxyIp);
    if (command == "setSipProxyIP") {
        home_.sipProxyIp = fields.at("address");
        return "<success/>";
    }
    int id = 0;
    for (const auto& [name, devices] : home_.groups) {
        text +=
            "<group><groupId>" + std::to_string(++id) + "</groupId>" + Element("name", name) + "<devices>";
        for (const unsigned long device : devices)
            text += Element("device", std::to_string(device));
        text += "</devices></group>";
    }
    return "<groups><group><groupId>0</groupId><name>All</name></group>" + text + "</groups>";
}

std::string StandInHost::Record(const std::vector<HostRecord>& records,
                                const std::map<std::string, std::string>& fields) const {
    if (fields.contains("index")) {
        const std::size_t index = std::stoul(fields.at("index"));
        return index < records.size() ? Element("key", records[index].front().second)
                                      : "<fail>No entity</fail>";
    }
    for (const HostRecord& record : records) {
        if (record.front().second != fields.at("key")) continue;
        return "<State>" + Elements(record) + "</State>";
    }
    return "<fail>Unable to find</fail>";
}

}  // namespace proxy
