#include "client/Url.h"

#include <regex>

#include "client/Failure.h"

Url Url::Parse(const std::string& text) {
    static const std::regex form(
        R"(http(s?)://(\[[0-9A-Fa-f:.%]+\]|[A-Za-z0-9._~-]+)(:([0-9]{1,5}))?(/[^?#\s]*)?)");
    std::smatch parts;
    if (!std::regex_match(text, parts, form))
        throw WrongUse("\"" + text +
                       "\" is not the address of a driver host; expected one like http://127.0.0.1:8350");
    Url url;
    url.text = text;
    url.tls = parts[1].length() > 0;
    url.host = parts[2];
    if (url.host.starts_with('[')) url.host = url.host.substr(1, url.host.size() - 2);
    url.port = parts[4].matched ? parts[4].str() : url.tls ? "443" : "80";
    constexpr int kMostPort = 65535;
    if (std::stoi(url.port) > kMostPort) throw WrongUse("\"" + text + "\": there is no port " + url.port);
    url.header = parts[2].str() + parts[3].str();
    url.prefix = parts[5];
    while (url.prefix.ends_with('/'))
        url.prefix.pop_back();
    return url;
}

std::string PercentEncode(std::string_view text) {
    constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char character : text) {
        if (kPlain.find(character) != std::string_view::npos) {
            encoded += character;
            continue;
        }
        const unsigned byte = static_cast<unsigned char>(character);
        encoded += '%';
        encoded += kDigits[byte >> 4U];
        encoded += kDigits[byte & 0xFU];
    }
    return encoded;
}

std::string FormEncode(const Parameters& parameters) {
    std::string form;
    for (const auto& [name, value] : parameters) {
        if (!form.empty()) form += '&';
        form += PercentEncode(name) + "=" + PercentEncode(value);
    }
    return form;
}
