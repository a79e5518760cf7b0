// The host around a measured agent: takes everything and keeps nothing, so that what is measured is the
// agent's own.
#ifndef BENCH_SUPPORT_HOST_H
#define BENCH_SUPPORT_HOST_H

#include <string>
#include <vector>

#include "host/interfaces/IDriverManager.h"
#include "host/interfaces/IInstanceManager.h"

namespace bench {

class Host final : public IInstanceManager, public IDriverManager {
public:
    // IInstanceManager
    long InstanceRegisterInterface(const std::string&, void*) override { return 0; }
    long InstanceUnregisterInterface(const std::string&) override { return 0; }
    void* InstanceFindInterface(const std::string&) override { return nullptr; }
    IDriverManager& GetDriverManager() override { return *this; }
    long RegisterListener(ISystemEventCallback&, unsigned int, unsigned long) override { return 0; }
    long UnregisterListener(ISystemEventCallback&, unsigned int, unsigned long) override { return 0; }
    void SendDataToUI(const DvXML::INode&) override {}
    void InvalidateState() override {}
    void WriteLog(unsigned int, const std::string&) override {}
    void PostToDriverThread(boost::function<void()>) override {}
    void WithdrawAll() override {}
    bool SendDataToReader(unsigned long, const DvXML::INode&) override { return false; }

    // IDriverManager
    long DriverManagerFindByInterface(unsigned long, const std::string&,
                                      std::vector<ISupportIntercom*>& found) override {
        found.clear();
        return 0;
    }
};

}  // namespace bench

#endif
