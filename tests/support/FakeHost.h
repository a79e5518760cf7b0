// The host as one driver sees it: records every call and holds what the driver registered.
#ifndef TESTS_SUPPORT_FAKEHOST_H
#define TESTS_SUPPORT_FAKEHOST_H

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/interfaces/IDriverManager.h"
#include "host/interfaces/IInstanceManager.h"
#include "host/interfaces/ISystemEventCallback.h"
#include "tests/support/Recorder.h"

namespace test {

class FakeHost final : public IInstanceManager, public IDriverManager {
public:
    struct Listener {
        ISystemEventCallback* callback;
        unsigned int eventClass;
        unsigned long number;
        bool operator==(const Listener&) const = default;
    };

    explicit FakeHost(Recorder& recorder) : recorder_(recorder) {}

    /// What is found under IntercomDeviceInterfaceId. Not owned.
    std::vector<ISupportIntercom*> drivers;

    /// The readers that are there. What is sent to others is lost.
    std::set<unsigned long> readers;

    /// What the driver has published and subscribed to.
    const std::map<std::string, void*>& Published() const { return published_; }
    const std::vector<Listener>& Listeners() const { return listeners_; }

    /// Delivers the event to every listener of its class; the number of those told.
    std::size_t Deliver(unsigned int eventClass, DvXML::INode& event);

    /// Runs what was posted to the driver thread, in order.
    void RunPosted();

    // IInstanceManager
    long InstanceRegisterInterface(const std::string& interfaceId, void* object) override;
    long InstanceUnregisterInterface(const std::string& interfaceId) override;
    void* InstanceFindInterface(const std::string& interfaceId) override;
    IDriverManager& GetDriverManager() override { return *this; }
    long RegisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                          unsigned long number) override;
    long UnregisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                            unsigned long number) override;
    void SendDataToUI(const DvXML::INode& element) override;
    void InvalidateState() override { recorder_.Note("mark"); }
    void WriteLog(unsigned int level, const std::string& text) override;
    void PostToDriverThread(boost::function<void()> work) override;
    void WithdrawAll() override;
    bool SendDataToReader(unsigned long reader, const DvXML::INode& element) override;

    // IDriverManager
    long DriverManagerFindByInterface(unsigned long reserved, const std::string& interfaceId,
                                      std::vector<ISupportIntercom*>& found) override;

private:
    Recorder& recorder_;
    std::map<std::string, void*> published_;
    std::vector<Listener> listeners_;
    std::deque<boost::function<void()>> posted_;
};

}  // namespace test

#endif
