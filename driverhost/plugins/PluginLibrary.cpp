#include "driverhost/plugins/PluginLibrary.h"

#include <dlfcn.h>

#include <utility>

#include "host/glue/PluginEntry.h"

namespace driverhost {
namespace {

constexpr char kEntryName[] = "GetCreationFunc";

std::string LoaderReason() {
    const char* reason = dlerror();
    return reason ? reason : "unknown reason";
}

void* Open(const std::string& path) {
    PluginLibrary::CheckFile(path);
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) throw PluginError(path + ": cannot be loaded: " + LoaderReason());
    return handle;
}

}  // namespace

void PluginLibrary::Closer::operator()(void* handle) const {
    dlclose(handle);
}

PluginLibrary::PluginLibrary(std::string path)
    : path_(std::move(path)), handle_(Open(path_)), create_(FindFactory()) {}

PluginLibrary::~PluginLibrary() = default;

void PluginLibrary::CheckFile(const std::string& path) {
    const auto version = ReadAbiVersion(path);
    if (!version) {
        throw PluginError(path +
                          ": is not a driver plug-in of this host: it has no ABI note; expected the one that "
                          "DVHOST_PLUGIN_ENTRY makes");
    }
    if (*version != dv::kAbiVersion) {
        throw PluginError(path + ": was built for driver ABI " + std::to_string(*version) +
                          "; expected ABI " + std::to_string(dv::kAbiVersion) + ": build it anew");
    }
}

bool PluginLibrary::IsLoaded(const std::string& path) {
    const std::unique_ptr<void, Closer> handle(dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD));
    return handle != nullptr;
}

CreateDriverFunc PluginLibrary::FindFactory() const {
    void* symbol = dlsym(handle_.get(), kEntryName);
    if (!symbol) throw PluginError(path_ + ": has no entry; expected it to export " + kEntryName);
    const auto entry = reinterpret_cast<GetCreationFuncType>(symbol);
    const CreateDriverFunc create = entry();
    if (!create) throw PluginError(path_ + ": " + kEntryName + " returned null; expected a factory");
    return create;
}

}  // namespace driverhost
