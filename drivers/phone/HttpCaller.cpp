#include "drivers/phone/HttpCaller.h"

#include <curl/curl.h>

#include <array>
#include <atomic>
#include <csignal>
#include <map>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "host/glue/Log.h"
#include "host/interfaces/IInstanceManager.h"

namespace {

// Nobody reads what the station answers beside its status; of an endless answer so much is enough.
constexpr std::size_t kMostBytes = 64 * 1024;
constexpr int kLongestWait = 60000;  // until something happens, in milliseconds

// Once for the process and for good: other libraries of it may use libcurl and OpenSSL, too.
void SetLibraryUp() {
    static const CURLcode done = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (done != CURLE_OK) throw std::runtime_error(std::string("libcurl: ") + curl_easy_strerror(done));
}

// The host's signals are for its first thread, and one that announces a broken connection for nobody.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_;
};

template <auto Free>
struct FreedBy {
    template <class Object>
    void operator()(Object* object) const {
        Free(object);
    }
};
using EasyHandle = std::unique_ptr<CURL, FreedBy<&curl_easy_cleanup>>;
using MultiHandle = std::unique_ptr<CURLM, FreedBy<&curl_multi_cleanup>>;
using Headers = std::unique_ptr<curl_slist, FreedBy<&curl_slist_free_all>>;

// One request and what came of it.
class Exchange {
public:
    // What is set stays within reach of libcurl: this object does not move.
    Exchange(const std::string& name, const HttpAction& action, std::chrono::milliseconds time,
             std::function<void(bool)> done)
        : head_(name + " (" + action.station + "): "), done_(std::move(done)), handle_(curl_easy_init()) {
        // libcurl would name a form as the type of the empty body.
        headers_.reset(curl_slist_append(nullptr, "Content-Type:"));
        if (!handle_ || !headers_) throw std::bad_alloc();
        Set(CURLOPT_URL, action.url.c_str());
        Set(CURLOPT_PROTOCOLS_STR, "http,https");
        Set(CURLOPT_PROXY, "");  // whatever the environment says: stations are in the home
        Set(CURLOPT_NOSIGNAL, 1L);
        Set(CURLOPT_TIMEOUT_MS, static_cast<long>(time.count()));
        Set(CURLOPT_QUICK_EXIT, 1L);  // a name that is still looked up is not waited for
        Set(CURLOPT_ERRORBUFFER, error_.data());
        Set(CURLOPT_WRITEFUNCTION, &Exchange::Count);
        Set(CURLOPT_WRITEDATA, this);
        SetMethod(action.method);
        if (!action.user.empty()) {
            Set(CURLOPT_HTTPAUTH,
                static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST));  // as the station asks
            Set(CURLOPT_USERNAME, action.user.c_str());
            Set(CURLOPT_PASSWORD, action.password.c_str());
        }
        if (action.key.empty()) return;
        // Stations make such certificates themselves, with any name and date: the key is what is known of
        // them.
        Set(CURLOPT_SSL_VERIFYPEER, 0L);
        Set(CURLOPT_SSL_VERIFYHOST, 0L);
        Set(CURLOPT_PINNEDPUBLICKEY, action.key.c_str());
    }

    CURL* Handle() const { return handle_.get(); }
    const std::function<void(bool)>& Done() const { return done_; }

    std::pair<unsigned int, std::string> Outcome(CURLcode result) const {
        long status = 0;
        curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
        const bool cutByUs = result == CURLE_WRITE_ERROR && received_ > kMostBytes;
        if (result == CURLE_OK || cutByUs)
            return {status / 100 == 2 ? dv::LOG_LEVEL_INFO : dv::LOG_LEVEL_ERROR,
                    head_ + "the station answers " + std::to_string(status)};
        if (result == CURLE_OPERATION_TIMEDOUT)
            return {dv::LOG_LEVEL_ERROR, head_ + "the station does not answer"};
        const std::string why = error_[0] != '\0' ? error_.data() : curl_easy_strerror(result);
        return {dv::LOG_LEVEL_ERROR, head_ + "the station cannot be asked: " + why};
    }

private:
    template <class Value>
    void Set(CURLoption option, Value value) {
        if (const CURLcode fault = curl_easy_setopt(handle_.get(), option, value); fault != CURLE_OK)
            throw std::runtime_error(head_ + curl_easy_strerror(fault));
    }

    void SetMethod(const std::string& method) {
        if (method == "GET") return;
        if (method == "HEAD") return Set(CURLOPT_NOBODY, 1L);
        Set(CURLOPT_POSTFIELDS, "");  // an empty body, which some stations insist on
        Set(CURLOPT_HTTPHEADER, headers_.get());
        Set(CURLOPT_CUSTOMREQUEST, method.c_str());
    }

    static std::size_t Count(char*, std::size_t size, std::size_t count, void* exchange) {
        std::size_t& received = static_cast<Exchange*>(exchange)->received_;
        received += size * count;
        return received > kMostBytes ? 0 : size * count;
    }

    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    const std::string head_;
    const std::function<void(bool)> done_;
    Headers headers_;
    std::array<char, CURL_ERROR_SIZE> error_{};
    std::size_t received_ = 0;
    EasyHandle handle_;
};

}  // namespace

class HttpCaller::Thread {
public:
    Thread(IInstanceManager& instanceManager, std::chrono::milliseconds answerTime)
        : instanceManager_(instanceManager), answerTime_(answerTime) {
        SetLibraryUp();
        multi_.reset(curl_multi_init());
        if (!multi_) throw std::bad_alloc();
        const SignalsBlocked inherited;
        thread_ = std::thread([this] { Run(); });
    }
    ~Thread() {
        end_ = true;
        curl_multi_wakeup(multi_.get());
        thread_.join();
    }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    bool Call(const std::string& name, const HttpAction& action, std::function<void(bool)> done) {
        if (underWay_ >= kMostRequests) return false;
        auto exchange = std::make_unique<Exchange>(name, action, answerTime_, std::move(done));
        ++underWay_;
        {
            const std::lock_guard lock(mutex_);
            waiting_.push_back(std::move(exchange));
        }
        curl_multi_wakeup(multi_.get());
        return true;
    }

private:
    void Run() {
        while (!end_) {
            Begin();
            int running = 0;
            curl_multi_perform(multi_.get(), &running);
            Finish();
            curl_multi_poll(multi_.get(), nullptr, 0, kLongestWait, nullptr);
        }
        for (const auto& [handle, exchange] : running_)
            curl_multi_remove_handle(multi_.get(), handle);
    }

    void Begin() {
        std::vector<std::unique_ptr<Exchange>> added;
        {
            const std::lock_guard lock(mutex_);
            added.swap(waiting_);
        }
        for (auto& exchange : added) {
            CURL* const handle = exchange->Handle();
            curl_multi_add_handle(multi_.get(), handle);
            running_[handle] = std::move(exchange);
        }
    }

    void Finish() {
        int left = 0;
        while (const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left)) {
            if (message->msg != CURLMSG_DONE) continue;
            CURL* const handle = message->easy_handle;
            const CURLcode result = message->data.result;
            curl_multi_remove_handle(multi_.get(), handle);
            const auto ended = running_.extract(handle);
            const auto [level, text] = ended.mapped()->Outcome(result);
            --underWay_;
            instanceManager_.WriteLog(level, text);
            if (const auto& done = ended.mapped()->Done())
                instanceManager_.PostToDriverThread(
                    [done, isDone = level == dv::LOG_LEVEL_INFO] { done(isDone); });
        }
    }

    IInstanceManager& instanceManager_;
    const std::chrono::milliseconds answerTime_;
    MultiHandle multi_;
    std::map<CURL*, std::unique_ptr<Exchange>> running_;  // the thread's
    std::mutex mutex_;
    std::vector<std::unique_ptr<Exchange>> waiting_;  // under the mutex
    std::atomic<int> underWay_ = 0;
    std::atomic<bool> end_ = false;
    std::thread thread_;
};

HttpCaller::HttpCaller(IInstanceManager& instanceManager, std::chrono::milliseconds answerTime)
    : alive_(std::make_shared<bool>()), thread_(std::make_unique<Thread>(instanceManager, answerTime)) {}

HttpCaller::~HttpCaller() = default;

bool HttpCaller::Call(const std::string& name, const HttpAction& action, Done done) {
    if (!done) return thread_->Call(name, action, {});
    return thread_->Call(name, action, [weak = std::weak_ptr(alive_), done = std::move(done)](bool isDone) {
        if (weak.lock()) done(isDone);
    });
}
