// The built plug-ins, loaded as a host loads them.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>

#include "host/interfaces/IDriver.h"
#include "host/interfaces/ISupportIntercom.h"
#include "host/interfaces/InterfaceIds.h"
#include "tests/support/FakeHost.h"

namespace {

class DevicePlugin : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        library = dlopen(GetParam(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(nullptr, library) << dlerror();
    }
    void TearDown() override {
        if (library) dlclose(library);
    }

    IDriver* Make() {
        const auto getCreationFunc = reinterpret_cast<GetCreationFuncType>(dlsym(library, "GetCreationFunc"));
        return getCreationFunc ? getCreationFunc()(host) : nullptr;
    }

    void* library = nullptr;
    test::Recorder recorder;
    test::FakeHost host{recorder};
};

}  // namespace

TEST_P(DevicePlugin, MakesADriverOfAnIntercomDevice) {
    const std::unique_ptr<IDriver> driver(Make());
    ASSERT_NE(nullptr, driver);
    const auto config = DvXML::CreateXmlNode("config", "");
    config->NodeAddNamedValue("key", "hall");
    ASSERT_EQ(0, driver->Initialize(5, *config, nullptr));
    void* found = nullptr;
    ASSERT_EQ(0, driver->QueryInterface(IntercomDeviceInterfaceId, &found));
    EXPECT_EQ("hall", static_cast<ISupportIntercom*>(found)->getKey());
    EXPECT_EQ(5UL, static_cast<ISupportIntercom*>(found)->getDeviceId());
    driver->OnDestroy();
}

TEST_P(DevicePlugin, LeavesMemoryWhenItIsClosed) {
    delete Make();
    dlclose(library);
    library = dlopen(GetParam(), RTLD_NOW | RTLD_NOLOAD);
    EXPECT_EQ(nullptr, library);
}

INSTANTIATE_TEST_SUITE_P(Built, DevicePlugin, testing::Values(PANEL_PLUGIN, TEMPLATE_PLUGIN),
                         [](const auto& plugin) {
                             return std::string(plugin.param).find("panel.so") == std::string::npos
                                        ? "Template"
                                        : "Panel";
                         });
