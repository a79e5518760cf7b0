#include "tests/scenarios/Player.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "tests/scenarios/Compare.h"

namespace scenario {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBetweenLooks{10};
constexpr std::size_t kPageWidth = 100;

const std::vector<std::string> kMethods = {"GET", "HEAD", "POST", "PUT", "DELETE"};

bool StartsProcess(const Step& step) {
    return step.words[0] == "start" || step.words[0] == "restart" || step.words[0] == "power-cut";
}

/// A start always tells the same; it is compared where a step says anything about it.
bool IsWatched(const Step& step) {
    return !StartsProcess(step) || !step.events.empty() || !step.requests.empty();
}

const std::string& WordAt(const Step& step, std::size_t position, const char* meaning) {
    if (position >= step.words.size()) throw std::runtime_error(std::string("the step names no ") + meaning);
    return step.words[position];
}

test::Form ParametersFrom(const Step& step, std::size_t first) {
    test::Form form;
    for (std::size_t at = first; at < step.words.size(); ++at) {
        const std::string& word = step.words[at];
        const auto equals = word.find('=');
        if (equals == std::string::npos)
            throw std::runtime_error("\"" + word +
                                     "\" is no parameter: write name=value, in quotes if there are blanks");
        form.emplace_back(word.substr(0, equals), word.substr(equals + 1));
    }
    return form;
}

/// True when every line stands in the log, in this order, whatever stands between them.
bool Contains(const std::vector<std::string>& log, const std::vector<std::string>& lines) {
    auto at = log.begin();
    for (const std::string& line : lines) {
        at = std::find_if(at, log.end(), [&](const std::string& entry) { return Matches(line, entry); });
        if (at == log.end()) return false;
        ++at;
    }
    return true;
}

/// "2026-11-21T02:33:04.123Z 6 agent text" without the time.
std::string WithoutTime(const std::string& line) {
    const auto blank = line.find(' ');
    return blank == std::string::npos ? line : line.substr(blank + 1);
}

std::string Section(const char* title, const std::vector<std::string>& expected,
                    const std::vector<std::string>& seen) {
    return std::string("  ") + title + " (-: expected, +: seen)\n" + Difference(expected, seen);
}

bool IsAnswered(const std::optional<Answer>& expected, const std::optional<Answer>& seen) {
    if (!expected || !seen) return expected.has_value() == seen.has_value();
    return expected->status == seen->status && Matches(expected->body, seen->body);
}

std::vector<std::string> Texts(const std::optional<Answer>& answer) {
    if (!answer) return {"none"};
    return {"status " + std::to_string(answer->status), answer->body};
}

std::string Joined(const std::vector<std::string>& lines, const std::string& first, const std::string& next) {
    std::string text;
    for (const std::string& line : lines)
        text += (text.empty() ? first : next) + line + "\n";
    return text;
}

}  // namespace

void Player::Begin(const Scenario& scenario) {
    if (scenario.steps.front().words[0] == "start") return;
    Start();
    Seen ignored;
    Watch(Step(), ignored);
}

Seen Player::Play(const Step& step) {
    Seen seen;
    seen.answer = Do(step);
    Watch(step, seen);
    if (!IsWatched(step)) {
        seen.events.clear();
        seen.requests.clear();
    }
    return seen;
}

void Player::End() {
    reader_.reset();
    const int status = host_.Stop();
    if (status != 0) throw std::runtime_error("driverhost ended with status " + std::to_string(status));
}

std::optional<Answer> Player::Do(const Step& step) {
    if (DoByItself(step)) return std::nullopt;
    const test::HttpAnswer answer = host_.Send(RequestOf(step));
    return Answer{answer.status, answer.body};
}

bool Player::DoByItself(const Step& step) {
    const std::string& what = step.words[0];
    if (what == "sysman-answers") {
        host_.AnswerRequests(step.words.size() > 1 ? std::optional(step.words[1]) : std::nullopt);
        return true;
    }
    if (!StartsProcess(step)) return false;
    if (what == "restart") End();
    if (what == "power-cut") host_.Kill();
    Start();
    return true;
}

test::HttpRequest Player::RequestOf(const Step& step) const {
    const std::string& what = step.words[0];
    if (std::find(kMethods.begin(), kMethods.end(), what) != kMethods.end()) {
        test::HttpRequest request{what, WordAt(step, 1, "path")};
        request.body = step.body;
        if (step.words.size() < 3) return request;
        const auto form = test::FormRequest(request.path, ParametersFrom(step, 2));
        return {what, request.path, form.headers, form.body};
    }
    if (what == "system-event") {
        test::Form form = ParametersFrom(step, 3);
        form.insert(form.begin(), {"name", WordAt(step, 2, "event")});
        return test::FormRequest("/system-events/" + WordAt(step, 1, "class of events"), form);
    }
    return test::FormRequest("/drivers/" + test::PercentEncoded(what) + "/commands/" +
                                 test::PercentEncoded(WordAt(step, 1, "command")),
                             ParametersFrom(step, 2));
}

void Player::Start() {
    reader_.reset();
    host_.Start();
    reader_.emplace(host_.Port(), "0");
    eventsRead_ = 0;
}

void Player::Watch(const Step& step, Seen& seen) {
    TakeEvents(seen.events, step.events.size());
    seen.requests = host_.TakeRequests();
    const auto end = steady_clock::now() + patience_;
    for (;;) {
        for (const std::string& line : host_.TakeLog())
            seen.log.push_back(WithoutTime(line));
        if (Contains(seen.log, step.log) || steady_clock::now() > end) return;
        std::this_thread::sleep_for(kBetweenLooks);
    }
}

// What the process says it has sent is waited for, so that an event too many is seen as well.
void Player::TakeEvents(std::vector<std::string>& events, std::size_t expected) {
    const std::size_t sent = std::max(host_.EventsSent(), eventsRead_) - eventsRead_;
    for (const test::Event& event : reader_->Take(std::max(sent, expected), patience_))
        events.push_back(event.type.empty() ? event.data : event.type + " " + event.data);
    eventsRead_ += events.size();
}

std::string DifferenceOf(const Step& step, const Seen& seen) {
    std::string text;
    if (!IsAnswered(step.answer, seen.answer))
        text += Section("answer", Texts(step.answer), Texts(seen.answer));
    if (!Matches(step.events, seen.events)) text += Section("events", step.events, seen.events);
    if (!Matches(step.requests, seen.requests))
        text += Section("requests to the system manager", step.requests, seen.requests);
    if (!Contains(seen.log, step.log)) text += Section("log", step.log, seen.log);
    return text;
}

std::string RecordOf(const Step& step, const Seen& seen) {
    std::string text = step.before + "> " + step.text + "\n";
    if (!step.body.empty()) text += Joined(LayOut(step.body, kPageWidth), "    ", "    ");
    if (seen.answer) {
        const std::string status = seen.answer->status == 200 ? "" : std::to_string(seen.answer->status);
        if (!status.empty())
            text += status + (seen.answer->body.empty() ? "" : " " + seen.answer->body) + "\n";
        else
            text += Joined(LayOut(seen.answer->body, kPageWidth), "", "");
    }
    for (const std::string& request : seen.requests)
        text += "$ " + request + "\n";
    for (const std::string& event : seen.events)
        text += Joined(LayOut(event, kPageWidth), "! ", "    ");
    for (const std::string& line : step.log)
        text += "~ " + line + "\n";
    return text;
}

}  // namespace scenario
