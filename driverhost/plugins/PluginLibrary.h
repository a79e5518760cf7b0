// A driver plug-in, checked step by step and loaded.
#ifndef DRIVERHOST_PLUGINS_PLUGINLIBRARY_H
#define DRIVERHOST_PLUGINS_PLUGINLIBRARY_H

#include <memory>
#include <stdexcept>
#include <string>

#include "host/interfaces/IDriver.h"

namespace driverhost {

/// Names the library's path and what was expected of it.
class PluginError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class PluginLibrary {
public:
    /// Loads the library and checks each step: the file, its ABI note, its symbols, its one entry
    /// and what the entry returns. Throws PluginError, with nothing left loaded, when one fails.
    explicit PluginLibrary(std::string path);
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;
    /// Unloads it, so every object that it made must be gone.
    ~PluginLibrary();

    /// The part of loading that runs no code of the library: is the file a plug-in of this host?
    /// Throws PluginError.
    static void CheckFile(const std::string& path);

    /// A new driver, owned by the caller. Null or an exception when the plug-in fails.
    IDriver* Create(IInstanceManager& manager) const { return create_(manager); }

    /// True while the library of that path is in the process.
    static bool IsLoaded(const std::string& path);

private:
    struct Closer {
        void operator()(void* handle) const;
    };

    CreateDriverFunc FindFactory() const;

    const std::string path_;
    std::unique_ptr<void, Closer> handle_;
    CreateDriverFunc create_;
};

}  // namespace driverhost

#endif
