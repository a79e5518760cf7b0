// A loaded driver plug-in.
#ifndef DRIVERHOST_PLUGINS_PLUGINLIBRARY_H
#define DRIVERHOST_PLUGINS_PLUGINLIBRARY_H

#include <memory>
#include <string>

#include "driverhost/plugins/AbiNote.h"
#include "host/interfaces/IDriver.h"

namespace driverhost {

class PluginLibrary {
public:
    /// Loads the library, each step checked: the file, its ABI note, its symbols, its one entry,
    /// what the entry returns. Throws PluginError and leaves nothing loaded when one fails.
    explicit PluginLibrary(std::string path);
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;
    /// Unloads it, so every object made by it must be gone.
    ~PluginLibrary();

    /// The first half of loading: what the file tells without a line of it being run. Throws
    /// PluginError.
    static void CheckFile(const std::string& path);

    /// A new driver, which is the caller's. Null or an exception when the plug-in fails.
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
