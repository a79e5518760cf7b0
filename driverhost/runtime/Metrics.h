// Counters and timings of the process, in the text form of Prometheus. They last as long as the process, so a
// driver that is restarted goes on counting.
#ifndef DRIVERHOST_RUNTIME_METRICS_H
#define DRIVERHOST_RUNTIME_METRICS_H

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace driverhost {

/// The upper bounds of the buckets, in seconds. One more bucket has no bound.
inline constexpr std::array kBucketSeconds = {0.000001, 0.00001, 0.0001, 0.001, 0.01, 0.1, 1.0, 10.0};

class Histogram {
public:
    void Observe(double seconds);
    void AppendTo(std::string& text, const std::string& name) const;

private:
    std::array<std::uint64_t, kBucketSeconds.size()> buckets_{};
    std::uint64_t count_ = 0;
    double sum_ = 0;
};

struct DriverCounters {
    std::map<std::string, std::uint64_t, std::less<>> commands;
    std::uint64_t failures = 0;  // calls that threw
    std::uint64_t stateMarks = 0;
    std::uint64_t stateWrites = 0;
    std::uint64_t stateWriteFailures = 0;
    std::uint64_t uiEvents = 0;
};

/// Values of this moment.
struct Gauges {
    std::size_t eventReaders = 0;
    std::size_t connections = 0;
    std::size_t requestBodyBytes = 0;  // of large bodies
};

/// All operations: [driver thread]
class Metrics {
public:
    /// The counters of the driver with that name. The reference stays valid.
    DriverCounters& OfDriver(const std::string& name) { return drivers_[name]; }

    void CountResponse(unsigned int status) { ++responses_[status]; }

    std::string ToText(const Gauges& gauges) const;

    Histogram commandSeconds;
    Histogram stateWriteSeconds;

private:
    std::map<std::string, DriverCounters> drivers_;
    std::map<unsigned int, std::uint64_t> responses_;
};

}  // namespace driverhost

#endif
