// What other programs of this machine tell of themselves, in files of a folder that they share with the host:
// NAME.prom has metrics, NAME.warnings a warning in each line. A program writes them anew every few seconds
// and removes them when it ends in good order, so files that grow old are those of one that has stopped.
#ifndef DRIVERHOST_RUNTIME_PROGRAMREPORTS_H
#define DRIVERHOST_RUNTIME_PROGRAMREPORTS_H

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace driverhost {

/// The environment variable by which programs that drivers start learn the folder.
inline constexpr char kReportsVariable[] = "INTERCOM_REPORTS_DIR";

/// A program writes every 5 s; one that has not for so long has stopped.
inline constexpr std::chrono::seconds kReportLasts{20};
inline constexpr std::size_t kReportBytes = 1024 * 1024;  // of each file
inline constexpr std::size_t kMostPrograms = 16;

/// All operations: [driver thread]
class ProgramReports {
public:
    /// Makes the folder, with mode 0700, if there is none. Empty: there are no reports.
    explicit ProgramReports(std::string folder);

    /// The metrics of the programs that report now. Lines that are none, or of whose names the program is
    /// not the owner, are left out and said once.
    std::string MetricsText();

    /// The warnings of the programs that report now, and one for each program that has stopped.
    std::vector<std::string> Warnings();

private:
    struct Program {
        std::string name;
        std::string trouble;  // why its metrics cannot be read
        std::string metrics;
        std::chrono::seconds age{0};

        bool ReportsNow() const { return trouble.empty() && age <= kReportLasts; }
    };

    std::vector<Program> Read(std::string& trouble) const;
    void SayOnce(const std::string& subject, const std::string& text);

    const std::string folder_;
    std::map<std::string, std::string> said_;  // by subject: what is wrong
};

/// The lines of Prometheus' text form, without timestamps, whose names begin with `prefix`. The first line
/// that is left out goes to `dropped`.
std::string MetricLinesOf(std::string_view text, std::string_view prefix, std::string& dropped);

}  // namespace driverhost

#endif
