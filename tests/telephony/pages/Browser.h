// Real browser pages as ends of calls: Chromium with a tone as the voice of each page, and what each hears.
#ifndef TESTS_TELEPHONY_PAGES_BROWSER_H
#define TESTS_TELEPHONY_PAGES_BROWSER_H

#include <csignal>
#include <cstdlib>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/telephony/support/Listening.h"

namespace test {

/// Pages that answer whatever they are asked for. A client of their own speaks for them at call control.
class Browser {
public:
    /// By user, the pitch of its voice. Returns when all of them are registered.
    Browser(CallHome& home, const std::map<std::string, int>& pages) : folder_(home.Folder() / "browser") {
        std::filesystem::create_directory(folder_);
        std::vector<std::string> words{"/usr/bin/env", "node", PAGES_SCRIPT, home.Socket(), folder_};
        for (const auto& [user, hertz] : pages)
            words.push_back(user + ":" + std::to_string(hertz));
        process_ = std::make_unique<Process>(Process::Command{words, {}, folder_ / "log"});
        const auto watching = home.Connect();
        const telephony::Event snapshot = watching->Greet();
        for (const auto& [user, hertz] : pages)
            if (std::ranges::find(snapshot.phones, user, &telephony::RegisteredPhone::user) ==
                snapshot.phones.end())
                watching->Wait(telephony::EventKind::Registered, user);
    }

    ~Browser() {
        // Its pages end with it: it alone is asked.
        process_->Signal(SIGTERM);
        process_->Wait(kPatience);
    }
    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;

    /// What it hears at the moment: hertz, loudness in dB, and packets that were received and sent in the
    /// call it is in.
    nlohmann::json Heard(const std::string& user) const {
        const std::string text = ReadFile(folder_ / (user + ".json"));
        return text.empty() ? nlohmann::json::object() : nlohmann::json::parse(text);
    }

    testing::AssertionResult Hears(const std::string& user, double hertz) const {
        constexpr double kExactness = 12;
        constexpr double kAudible = -60;
        const bool isHeard = WaitUntil([&] {
            const nlohmann::json heard = Heard(user);
            return std::abs(heard.value("hertz", 0.0) - hertz) < kExactness &&
                   heard.value("loudness", -200.0) > kAudible;
        });
        if (isHeard) return testing::AssertionSuccess();
        return testing::AssertionFailure() << Heard(user) << "\n" << Log();
    }

    long Received(const std::string& user) const { return Heard(user).value("received", 0L); }
    long Sent(const std::string& user) const { return Heard(user).value("sent", 0L); }
    long Pictures(const std::string& user) const { return Heard(user).value("pictures", 0L); }

    /// The connection of the pages' client is lost; it makes another. The pages stay.
    void LoseConnection() { process_->Signal(SIGUSR1); }
    std::string Log() const { return ReadFile(folder_ / "log"); }

private:
    const std::filesystem::path folder_;
    std::unique_ptr<Process> process_;
};

}  // namespace test

#endif
