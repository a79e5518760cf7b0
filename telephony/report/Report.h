// What a program of this machine tells the driver host of itself: numbers, which the host adds to its
// metrics, and warnings, which it adds to its health. Both lie in a folder that they share, as NAME.prom and
// NAME.warnings. docs/http.md describes the files.
#ifndef TELEPHONY_REPORT_REPORT_H
#define TELEPHONY_REPORT_REPORT_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace telephony {

/// The host takes a program that has written nothing for 20 s for one that has stopped.
inline constexpr std::chrono::milliseconds kReportInterval(5000);
/// How often a program looks whether it has something to tell.
inline constexpr std::chrono::milliseconds kReportLook(1000);

/// The folder that the environment names; empty when it names none.
std::string ReportsFolder();

/// One family of numbers.
struct Metric {
    struct Sample {
        std::string labels;  // as Label makes them, with commas in between
        std::uint64_t value = 0;
    };
    enum class Type { Counter, Gauge };

    /// Without the prefix, which is the program's.
    std::string name;
    Type type = Type::Gauge;
    std::string help;
    std::vector<Sample> samples;

    static Metric Counter(std::string name, std::string help, std::uint64_t value);
    static Metric Gauge(std::string name, std::string help, std::uint64_t value);
};

std::string Label(const std::string& name, const std::string& value);

class Report {
public:
    using Say = std::function<void(const std::string&)>;

    /// `program` is a word of small letters. Without a folder nothing is ever written. A file that cannot be
    /// written is said once, until it can be again.
    Report(std::string folder, std::string program, Say say,
           std::chrono::milliseconds interval = kReportInterval);
    /// Removes the files, so that nobody takes an orderly end for a fault. They stay when an exception ends
    /// the program; and those of another process stay while this one has written nothing.
    ~Report();
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    /// Writes both files when the warnings are others than last time, or the interval is over; else it does
    /// nothing, and does not ask for the metrics. Call it often.
    void Tell(const std::vector<std::string>& warnings, const std::function<std::vector<Metric>()>& metrics);

private:
    using Clock = std::chrono::steady_clock;

    std::string Path(const char* ending) const { return folder_ + "/" + program_ + ending; }
    std::string ToText(const std::vector<Metric>& metrics) const;
    void Write(const std::string& warnings, const std::string& metrics);

    const std::string folder_;
    const std::string program_;
    const Say say_;
    const std::chrono::milliseconds interval_;
    std::optional<std::string> warnings_;  // told last
    Clock::time_point toldAt_;
    bool written_ = false;
    bool troubleSaid_ = false;
};

}  // namespace telephony

#endif
