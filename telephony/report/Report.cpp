#include "telephony/report/Report.h"

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <utility>

#include "telephony/report/PrivateFiles.h"

namespace telephony {
namespace {

constexpr char kFolderVariable[] = "INTERCOM_REPORTS_DIR";
constexpr char kMetricsEnding[] = ".prom";
constexpr char kWarningsEnding[] = ".warnings";

// One warning is one line, whatever it quotes.
std::string Lines(const std::vector<std::string>& warnings) {
    std::string text;
    for (std::string warning : warnings) {
        for (char& c : warning)
            if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
        text += warning + "\n";
    }
    return text;
}

}  // namespace

std::string ReportsFolder() {
    const char* const folder = std::getenv(kFolderVariable);
    return folder ? folder : "";
}

Metric Metric::Counter(std::string name, std::string help, std::uint64_t value) {
    return {std::move(name), Type::Counter, std::move(help), {{"", value}}};
}

Metric Metric::Gauge(std::string name, std::string help, std::uint64_t value) {
    return {std::move(name), Type::Gauge, std::move(help), {{"", value}}};
}

std::string Label(const std::string& name, const std::string& value) {
    std::string text = name + "=\"";
    for (const char c : value) {
        if (c == '\\' || c == '"') text += '\\';
        text += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return text + "\"";
}

Report::Report(std::string folder, std::string program, Say say, std::chrono::milliseconds interval)
    : folder_(std::move(folder)), program_(std::move(program)), say_(std::move(say)), interval_(interval) {}

Report::~Report() {
    if (!written_ || std::uncaught_exceptions() > 0) return;
    ::unlink(Path(kMetricsEnding).c_str());
    ::unlink(Path(kWarningsEnding).c_str());
}

void Report::Tell(const std::vector<std::string>& warnings,
                  const std::function<std::vector<Metric>()>& metrics) {
    if (folder_.empty()) return;
    const std::string lines = Lines(warnings);
    if (lines == warnings_ && Clock::now() - toldAt_ < interval_) return;
    warnings_ = lines;
    toldAt_ = Clock::now();
    Write(lines, ToText(metrics()));
}

std::string Report::ToText(const std::vector<Metric>& metrics) const {
    std::string text;
    for (const Metric& metric : metrics) {
        const std::string name = "intercom_" + program_ + "_" + metric.name;
        text += "# HELP " + name + " " + metric.help + "\n";
        text += "# TYPE " + name + (metric.type == Metric::Type::Counter ? " counter\n" : " gauge\n");
        for (const Metric::Sample& sample : metric.samples)
            text += name + (sample.labels.empty() ? "" : "{" + sample.labels + "}") + " " +
                    std::to_string(sample.value) + "\n";
    }
    return text;
}

// The host goes by the age of the metrics, so they come last.
void Report::Write(const std::string& warnings, const std::string& metrics) try {
    MakePrivateFolder(folder_);
    WritePrivateFile(Path(kWarningsEnding), warnings);
    WritePrivateFile(Path(kMetricsEnding), metrics);
    written_ = true;
    if (troubleSaid_) say_("reports can be written again");
    troubleSaid_ = false;
} catch (const Failure& fault) {
    if (!troubleSaid_)
        say_(std::string(fault.what()) + "; the host cannot tell this program's metrics and warnings");
    troubleSaid_ = true;
}

}  // namespace telephony
