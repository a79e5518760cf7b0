// The home file's <config> of a phone. docs/phones.md lists its elements.
#ifndef DRIVERS_PHONE_PHONECONFIG_H
#define DRIVERS_PHONE_PHONECONFIG_H

#include <optional>
#include <string>
#include <vector>

#include "drivers/calls/DeviceConfig.h"

/// An HTTP request that makes a station do something. Its secrets appear nowhere but in the request.
struct HttpAction {
    std::string method = "GET";
    std::string url;
    std::string station;  // host and port: as much of the URL as may be told
    std::string user;     // empty: without credentials
    std::string password;
    std::string key;  // of the only certificate that is accepted, as libcurl pins it; empty: those of known
                      // authorities
};

/// What a button does: it sends digits, or a request.
struct PhoneButton {
    std::string name;
    std::string digits;  // to the phone in its call
    telephony::DigitStyle by = telephony::DigitStyle::Info;
    std::optional<HttpAction> http;
};

struct PhoneConfig : DeviceConfig {
    std::string password;
    bool doorStation = false;
    telephony::AnswerStyle answer = telephony::AnswerStyle::None;
    telephony::HoldStyle hold = telephony::HoldStyle::Reinvite;
    std::vector<std::string> codecs;  // the best first
    std::vector<PhoneButton> buttons;
    std::optional<HttpAction> chime;

    /// Throws ConfigError on the first fault: a phone that is half understood is worse than none. No text of
    /// a password is in it.
    static PhoneConfig Read(const DvXML::INode& config);
};

#endif
