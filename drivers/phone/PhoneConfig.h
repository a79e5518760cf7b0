// The home file's <config> of a phone. docs/phones.md lists its elements.
#ifndef DRIVERS_PHONE_PHONECONFIG_H
#define DRIVERS_PHONE_PHONECONFIG_H

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "drivers/calls/CallingDevice.h"

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

/// Tells in one line what is wrong with a configuration.
class ConfigError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct PhoneConfig {
    std::string key;
    std::string name;  // the key, when none is given
    std::string user;  // the same
    std::string password;
    bool doorStation = false;
    bool camera = false;
    bool display = false;
    DeviceSettings settings;
    bool mayBeMonitored = false;
    telephony::AnswerStyle answer = telephony::AnswerStyle::None;
    telephony::HoldStyle hold = telephony::HoldStyle::Reinvite;
    std::vector<std::string> codecs;  // the best first
    std::string callControl;
    std::vector<PhoneButton> buttons;
    std::optional<HttpAction> chime;

    /// Throws ConfigError on the first fault: a phone that is half understood is worse than none. No text of
    /// a password is in it.
    static PhoneConfig Read(const DvXML::INode& config);
};

#endif
