#include "bench/events/Protocol.h"

namespace {

constexpr std::string_view kElement =
    "<DeviceDnDChanged><device><id>101</id><dnd>false</dnd></device></DeviceDnDChanged>";

class ServerSentEvents final : public Protocol {
public:
    std::string Hello(std::size_t, bool takesThePast) const override {
        return std::string("GET /events HTTP/1.1\r\nHost: 127.0.0.1\r\n") +
               (takesThePast ? "Last-Event-ID: 0\r\n" : "") + "\r\n";
    }

    std::size_t GreetingBytes(std::string_view text) const override { return BytesTo("\r\n\r\n", text); }

    // A comment is a sign of life.
    std::size_t PieceBytes(std::string_view text, bool& isEvent) const override {
        isEvent = !text.starts_with(':');
        return BytesTo("\n\n", text);
    }

    std::string TriggerHello() const override { return {}; }

    std::string Trigger() const override {
        return "POST /drivers/panel1/commands/notifyChanged HTTP/1.1\r\nHost: 127.0.0.1\r\n"
               "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 10\r\n\r\nproperty=2";
    }

    bool AnswersTriggerHello() const override { return false; }
    bool AnswersTrigger() const override { return true; }

private:
    static std::size_t BytesTo(std::string_view end, std::string_view text) {
        const std::size_t found = text.find(end);
        return found == std::string_view::npos ? 0 : found + end.size();
    }
};

// Packets, their first byte, and the lengths of those that the broker answers with (MQTT 3.1.1, section 3).
constexpr char kConnect = 0x10;
constexpr char kPublish = 0x30;
constexpr char kSubscribe = static_cast<char>(0x82);
constexpr std::size_t kConnackBytes = 4;
constexpr std::size_t kSubackBytes = 5;
constexpr std::string_view kTopic = "events";

void AppendText(std::string& packet, std::string_view text) {
    packet += static_cast<char>(text.size() >> 8U);
    packet += static_cast<char>(text.size() & 0xFFU);
    packet += text;
}

std::string Packet(char kind, const std::string& content) {
    std::string packet(1, kind);
    std::size_t left = content.size();
    do {
        const std::size_t digit = left & 0x7FU;
        left >>= 7U;
        packet += static_cast<char>(digit | (left > 0 ? 0x80U : 0U));
    } while (left > 0);
    return packet + content;
}

std::string Connect(const std::string& client) {
    std::string content;
    AppendText(content, "MQTT");
    content += {4, 2, 0, 0};  // version 3.1.1, a clean session, no keep-alive
    AppendText(content, client);
    return Packet(kConnect, content);
}

std::string Subscribe() {
    std::string content{0, 1};  // the packet's number
    AppendText(content, kTopic);
    content += '\0';  // quality of service
    return Packet(kSubscribe, content);
}

class Mqtt final : public Protocol {
public:
    std::string Hello(std::size_t number, bool) const override {
        return Connect("reader" + std::to_string(number)) + Subscribe();
    }

    std::size_t GreetingBytes(std::string_view text) const override {
        return text.size() < kConnackBytes + kSubackBytes ? 0 : kConnackBytes + kSubackBytes;
    }

    std::size_t PieceBytes(std::string_view text, bool& isEvent) const override {
        isEvent = text.starts_with(kPublish);
        std::size_t length = 0;
        for (std::size_t at = 1; at < text.size(); ++at) {
            const auto digit = static_cast<unsigned char>(text[at]);
            length |= static_cast<std::size_t>(digit & 0x7FU) << (7 * (at - 1));
            if ((digit & 0x80U) != 0) continue;
            return text.size() < at + 1 + length ? 0 : at + 1 + length;
        }
        return 0;
    }

    std::string TriggerHello() const override { return Connect("trigger"); }

    std::string Trigger() const override {
        std::string content;
        AppendText(content, kTopic);
        return Packet(kPublish, content.append(kElement));
    }

    bool AnswersTriggerHello() const override { return true; }
    bool AnswersTrigger() const override { return false; }
};

}  // namespace

std::unique_ptr<Protocol> MakeServerSentEvents() {
    return std::make_unique<ServerSentEvents>();
}

std::unique_ptr<Protocol> MakeMqtt() {
    return std::make_unique<Mqtt>();
}
