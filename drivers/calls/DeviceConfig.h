// What the home file's <config> says of every device that takes part in real calls, and how drivers read
// theirs.
#ifndef DRIVERS_CALLS_DEVICECONFIG_H
#define DRIVERS_CALLS_DEVICECONFIG_H

#include <chrono>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include "drivers/calls/CallingDevice.h"

/// Tells in one line what is wrong with a configuration.
class ConfigError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One reader for each element that may stand in another.
using ConfigReaders = std::map<std::string, std::function<void(const DvXML::INode&)>, std::less<>>;

/// Every child has a reader, and stands there once unless it is the `repeated` one. Throws ConfigError.
void ReadChildren(const DvXML::INode& element, const ConfigReaders& readers, std::string_view repeated = "");

// Readers of one value. The last two throw ConfigError for what is neither true nor false, and no number in
// the bounds.
std::string TextOf(const DvXML::INode& element);
std::function<void(const DvXML::INode&)> IntoText(std::string& out);
std::function<void(const DvXML::INode&)> IntoFlag(bool& out);
std::function<void(const DvXML::INode&)> IntoTime(std::chrono::milliseconds& out,
                                                  std::chrono::milliseconds min,
                                                  std::chrono::milliseconds max);

struct DeviceConfig {
    std::string key;
    std::string name;  // the key, when none is given
    std::string user;  // the same
    bool camera = false;
    bool display = false;
    bool mayBeMonitored = false;
    DeviceSettings settings;
    std::string callControl;

    /// Readers of these elements, to which a driver adds its own. They write into this object.
    ConfigReaders Readers();
    /// Fills in what was left out. Throws ConfigError on what cannot be.
    void Complete();
};

#endif
