// A driver that does on command what drivers can do to a host, right and wrong.
//
// Its config:
//   fails      "throw": Initialize throws, "answer": it returns -7; "throwAtEnd": OnDestroy throws,
//              "slowAtEnd": it takes half a second
//   waitsFor   Initialize waits until this file exists
//   publishes  the id of an interface to publish
//   answers    the id of an interface that QueryInterface knows
//   noState    GetPersistState returns null
//   readers    "yes": it takes readers of its own, "throw": OnReaderOpened throws, "greet": it sends <Hello>
//              with the reader's number when one comes, and <Bye> at its end
// A saved value "poison" makes Initialize throw, and "fatal" makes it end the process.
#include <boost/bind/bind.hpp>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/glue/DvBaseDriver.h"
#include "host/glue/Log.h"
#include "host/glue/PluginEntry.h"
#include "host/interfaces/IDriverManager.h"
#include "host/interfaces/IReaderSink.h"
#include "host/interfaces/ISystemEventCallback.h"
#include "host/interfaces/InterfaceIds.h"

namespace {

using Reply = dv::auto_com<DvXML::INode>;

int callsSinceLoad = 0;  // 0 again when the library is loaded anew

class Probe final : public DvBaseDriver, public ISystemEventCallback, public IReaderSink {
public:
    explicit Probe(IInstanceManager& manager) : DvBaseDriver(manager, DRIVER_MULTIPLE) {}
    ~Probe() override { LogXMessage(dv::LOG_LEVEL_INFO, "destroyed"); }

    long QueryInterface(const std::string& id, void** out) override {
        if (id == ReaderSinkInterfaceId && !takesReaders_.empty()) {
            *out = static_cast<IReaderSink*>(this);
            return 0;
        }
        if (id != answered_ || id.empty()) return DvBaseDriver::QueryInterface(id, out);
        *out = this;
        return 0;
    }

    long Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) override {
        DvBaseDriver::Initialize(id, config, savedState);
        initialized_ = true;
        const std::string_view fails = config.NodeGetNamedValue("fails");
        atEnd_ = fails;
        published_ = config.NodeGetNamedValue("publishes");
        answered_ = config.NodeGetNamedValue("answers");
        takesReaders_ = config.NodeGetNamedValue("readers");
        keepsState_ = config.NodeGetNamedValue("noState").empty();
        if (!published_.empty()) GetInstanceManager().InstanceRegisterInterface(published_, this);
        RegisterListener(*this, kClass, 0);
        if (savedState) value_ = savedState->NodeGetNamedValue("value");
        WaitForFile(std::string(config.NodeGetNamedValue("waitsFor")));
        if (value_ == "fatal") std::_Exit(kFatal);
        if (value_ == "poison") throw std::runtime_error("a bad value");
        if (fails == "throw") throw std::runtime_error("not today");
        return fails == "answer" ? -7 : 0;
    }

    void OnDestroy() override {
        LogXMessage(dv::LOG_LEVEL_INFO, "OnDestroy");
        value_ = "never to be stored";
        if (takesReaders_ == "greet") TellAll("Bye");
        DmInvalidateState();
        if (worker_.joinable()) worker_.join();
        if (atEnd_ == "slowAtEnd") std::this_thread::sleep_for(std::chrono::milliseconds(500));
        if (atEnd_ == "throwAtEnd") throw std::runtime_error("will not end");
    }

    Reply GetPersistState(unsigned long) override {
        if (!initialized_) LogXMessage(dv::LOG_LEVEL_INFO, "asked for its state before its start");
        if (stateThrows_) throw std::runtime_error("no state today");
        if (!keepsState_) return nullptr;
        Reply state = DvXML::CreateXmlNode("ProbeState", "");
        state->NodeAddNamedValue("value", value_);
        return state;
    }

    void RegisterCommands() override {
        Bind("count", &Probe::Count, "calls since the library was loaded");
        Bind("set", &Probe::Set, "changes the state (value)");
        Bind("setQuietly", &Probe::SetQuietly, "changes the state without a mark (value)");
        Bind("get", &Probe::Get, "the value and what was heard");
        Bind("echo", &Probe::Echo, "the message itself");
        Bind("nothing", &Probe::Nothing, "no reply");
        Bind("throw", &Probe::Throw, "");
        Bind("throwNumber", &Probe::ThrowNumber, "");
        Bind("breakState", &Probe::BreakState, "GetPersistState throws from now on");
        Bind("hold", &Probe::Hold, "holds the driver thread (milliseconds)");
        Bind("holdUntil", &Probe::HoldUntil, "holds the driver thread until there is a file (path)");
        Bind("event", &Probe::Event, "sends notifications (text, times)");
        Bind("post", &Probe::Post, "posts from another thread (value)");
        Bind("postLate", &Probe::PostLate, "posts work that is not run before the driver ends");
        Bind("wrongThread", &Probe::WrongThread, "marks and sends from another thread");
        Bind("tell", &Probe::Tell, "sends to a reader alone (reader, text, times)");
        Bind("mix", &Probe::Mix, "sends to everybody and to a reader in turn (reader)");
        Bind("find", &Probe::Find, "drivers that answer an interface (id)");
        GetCmdDispatcher().RegisterCmd1("plain", boost::bind(&Probe::Plain, this, boost::placeholders::_1),
                                        "");
    }

    void OnSystemEvent(DvXML::INode& event) override {
        heard_ += event.NodeToText();
        if (event.NodeGetNamedValue("name") == "Throw") throw std::runtime_error("will not hear");
        if (event.NodeGetNamedValue("name") == "Mark") DmInvalidateState();
    }

    void OnReaderOpened(unsigned long reader) override {
        heard_ += "+" + std::to_string(reader) + " ";
        readers_.insert(reader);
        if (takesReaders_ == "throw") throw std::runtime_error("reads nothing to anybody");
        if (takesReaders_ == "greet") SendTo(reader, "Hello", std::to_string(reader));
    }

    void OnReaderClosed(unsigned long reader) override {
        heard_ += "-" + std::to_string(reader) + " ";
        readers_.erase(reader);
        if (SendTo(reader, "Late", "")) heard_ += "sent to a closed reader ";
        DmInvalidateState();
    }

private:
    static constexpr unsigned int kClass = 11;
    static constexpr int kFatal = 99;

    void Bind(const char* name, Reply (Probe::*handler)(const ICmdMessage&), const char* help) {
        GetUICmdDispatcher().RegisterUICmd(name, boost::bind(handler, this, boost::placeholders::_1), help);
    }

    Reply Count(const ICmdMessage&) { return DvXML::CreateXmlNode("count", ++callsSinceLoad); }

    Reply Set(const ICmdMessage& message) {
        value_ = message.GetString("value");
        DmInvalidateState();
        return DvXML::CreateXmlNode("success", "");
    }

    Reply SetQuietly(const ICmdMessage& message) {
        value_ = message.GetString("value");
        return DvXML::CreateXmlNode("success", "");
    }

    Reply Get(const ICmdMessage&) {
        Reply reply = DvXML::CreateXmlNode("probe", "");
        reply->NodeAddNamedValue("value", value_);
        reply->NodeAddNamedValue("heard", heard_);
        return reply;
    }

    Reply Echo(const ICmdMessage& message) { return message.ToXml(); }
    Reply Nothing(const ICmdMessage&) { return nullptr; }
    Reply Throw(const ICmdMessage&) { throw std::runtime_error("on demand"); }
    Reply ThrowNumber(const ICmdMessage&) { throw 42; }

    Reply BreakState(const ICmdMessage&) {
        stateThrows_ = true;
        DmInvalidateState();
        return DvXML::CreateXmlNode("success", "");
    }

    Reply Hold(const ICmdMessage& message) {
        std::this_thread::sleep_for(std::chrono::milliseconds(message.GetInt("milliseconds")));
        return DvXML::CreateXmlNode("success", "");
    }

    static void WaitForFile(const std::string& path) {
        while (!path.empty() && !std::filesystem::exists(path))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }

    Reply HoldUntil(const ICmdMessage& message) {
        WaitForFile(message.GetString("path"));
        return DvXML::CreateXmlNode("success", "");
    }

    Reply Event(const ICmdMessage& message) {
        for (int time = 0; time < message.GetInt("times"); ++time)
            ConSendDataToUI(*DvXML::CreateXmlNode("Probe", message.GetString("text")));
        return nullptr;
    }

    Reply Post(const ICmdMessage& message) {
        const std::string value = message.GetString("value");
        OnWorker([this, value] {
            GetInstanceManager().PostToDriverThread([this, value] {
                value_ = value;
                DmInvalidateState();
                ConSendDataToUI(*DvXML::CreateXmlNode("Posted", value));
                if (value == "throw") throw std::runtime_error("posted and thrown");
            });
        });
        return nullptr;
    }

    // Destroying the token runs code of this library, so its last reference must go before the library does.
    Reply PostLate(const ICmdMessage&) {
        const auto token = std::shared_ptr<int>(new int(0), [this](const int* number) {
            delete number;
            LogXMessage(dv::LOG_LEVEL_INFO, "posted work dropped");
        });
        GetInstanceManager().PostToDriverThread(
            [this, token] { LogXMessage(dv::LOG_LEVEL_INFO, "posted work ran"); });
        return nullptr;
    }

    Reply WrongThread(const ICmdMessage&) {
        value_ = "from another thread";
        OnWorker([this] {
            DmInvalidateState();
            ConSendDataToUI(*DvXML::CreateXmlNode("Wrong", "thread"));
            RegisterListener(*this, kClass, 1);
        });
        return nullptr;
    }

    bool SendTo(unsigned long reader, const char* name, const std::string& text) {
        return GetInstanceManager().SendDataToReader(reader, *DvXML::CreateXmlNode(name, text));
    }

    void TellAll(const char* name) {
        for (const unsigned long reader : readers_)
            SendTo(reader, name, "");
    }

    Reply Tell(const ICmdMessage& message) {
        int told = 0;
        for (int time = 0; time < message.GetInt("times"); ++time)
            if (SendTo(message.GetULong("reader"), "Own", message.GetString("text"))) ++told;
        return DvXML::CreateXmlNode("told", told);
    }

    Reply Mix(const ICmdMessage& message) {
        const unsigned long reader = message.GetULong("reader");
        SendTo(reader, "first", "");
        ConSendDataToUI(*DvXML::CreateXmlNode("second", ""));
        ConSendDataToUI(*DvXML::CreateXmlNode("third", ""));
        SendTo(reader, "fourth", "");
        ConSendDataToUI(*DvXML::CreateXmlNode("fifth", ""));
        return nullptr;
    }

    Reply Find(const ICmdMessage& message) {
        std::vector<ISupportIntercom*> found;
        GetDriverManager().DriverManagerFindByInterface(0, message.GetString("id"), found);
        const bool published = GetInstanceManager().InstanceFindInterface(message.GetString("id")) != nullptr;
        Reply reply = DvXML::CreateXmlNode("found", static_cast<int>(found.size()));
        reply->NodeAddNamedBool("published", published);
        return reply;
    }

    void Plain(const ICmdMessage& message) { value_ = message.GetString("value"); }

    void OnWorker(const std::function<void()>& work) {
        if (worker_.joinable()) worker_.join();
        worker_ = std::thread(work);
    }

    std::string value_ = "new";
    std::string heard_;
    std::string published_;
    std::string answered_;
    std::string atEnd_;
    std::string takesReaders_;
    std::set<unsigned long> readers_;
    bool initialized_ = false;
    bool keepsState_ = true;
    bool stateThrows_ = false;
    std::thread worker_;
};

IDriver* Create(IInstanceManager& manager) {
    return new Probe(manager);
}

}  // namespace

DVHOST_PLUGIN_ENTRY(&Create)
