#include "driverhost/runtime/ProgramReports.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "driverhost/runtime/FileDescriptor.h"
#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"
#include "host/xml/Characters.h"

namespace driverhost {
namespace {

constexpr std::string_view kMetricsEnding = ".prom";
constexpr std::string_view kWarningsEnding = ".warnings";
constexpr std::size_t kLongestName = 32;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsSmallLetter(char c) {
    return c >= 'a' && c <= 'z';
}
bool IsNameCharacter(char c) {
    return IsSmallLetter(c) || (c >= 'A' && c <= 'Z') || IsDigit(c) || c == '_';
}

bool IsProgramName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName && IsSmallLetter(name.front()) &&
           std::ranges::all_of(name, [](char c) { return IsSmallLetter(c) || IsDigit(c) || c == '_'; });
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = DvXML::Utf8Length(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

// ---- one line of Prometheus' text form

// What is left of a line while it is read from its beginning.
class Rest {
public:
    explicit Rest(std::string_view text) : text_(text) {}

    std::string_view Name() {
        const auto end = std::ranges::find_if_not(text_, &IsNameCharacter);
        return Take(static_cast<std::size_t>(end - text_.begin()));
    }
    bool Skip(std::string_view expected) {
        if (!text_.starts_with(expected)) return false;
        Take(expected.size());
        return true;
    }
    // A text in quotes, in which a backslash stands before quotes, backslashes and the n of a line break.
    bool SkipQuoted() {
        if (!Skip("\"")) return false;
        while (!text_.empty() && text_.front() != '"') {
            const bool escape = text_.front() == '\\';
            if (escape && (text_.size() < 2 || std::string_view("\\\"n").find(text_[1]) == text_.npos))
                return false;
            Take(escape ? 2 : 1);
        }
        return Skip("\"");
    }
    std::string_view Text() const { return text_; }

private:
    std::string_view Take(std::size_t count) {
        const std::string_view taken = text_.substr(0, count);
        text_.remove_prefix(count);
        return taken;
    }

    std::string_view text_;
};

bool SkipLabels(Rest& rest) {
    if (!rest.Skip("{")) return true;
    while (!rest.Skip("}")) {
        const std::string_view label = rest.Name();
        if (label.empty() || IsDigit(label.front()) || !rest.Skip("=") || !rest.SkipQuoted()) return false;
        if (!rest.Skip(",") && !rest.Text().starts_with('}')) return false;
    }
    return true;
}

bool IsNumber(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    if (text.ends_with(')')) return false;  // as in "nan(1)", which Prometheus does not know
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

bool IsSample(std::string_view line, std::string_view prefix) {
    Rest rest(line);
    return line.starts_with(prefix) && rest.Name().size() > prefix.size() && SkipLabels(rest) &&
           rest.Skip(" ") && IsNumber(rest.Text());
}

// "# HELP name text" or "# TYPE name type". Each stands once for a name: a second TYPE makes the whole of
// the host's metrics unreadable.
bool IsHead(std::string_view line, std::string_view prefix, std::set<std::string_view>& heads) {
    constexpr std::string_view kTypes[] = {"counter", "gauge", "histogram", "summary", "untyped"};
    Rest rest(line);
    const bool isType = rest.Skip("# TYPE ");
    if (!isType && !rest.Skip("# HELP ")) return false;
    if (!rest.Text().starts_with(prefix) || rest.Name().size() <= prefix.size()) return false;
    const std::string_view head = line.substr(0, line.size() - rest.Text().size());
    if (!rest.Skip(" ")) return false;
    if (isType && std::ranges::find(kTypes, rest.Text()) == std::end(kTypes)) return false;
    return heads.insert(head).second;
}

// ---- files

struct ReportFile {
    bool found = false;
    std::string trouble;
    std::string text;
    std::chrono::seconds age{0};
};

// The clock may have been set back since: then the file counts as new until it is written again.
std::chrono::seconds AgeOf(const struct stat& status) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now) -
           std::chrono::seconds(status.st_mtim.tv_sec);
}

// Neither a pipe nor a link holds the host up or leads it elsewhere.
ReportFile ReadReport(const std::string& path) {
    ReportFile report;
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file && errno == ENOENT) return report;
    report.found = true;
    struct stat status {};
    if (!file || ::fstat(file.Get(), &status) != 0) {
        report.trouble = std::generic_category().message(errno);
        return report;
    }
    report.age = AgeOf(status);
    if (!S_ISREG(status.st_mode) || status.st_uid != ::geteuid()) {
        report.trouble = "it is no file of this user";
        return report;
    }
    // What is written by rename does not grow while it is read.
    report.text.resize(std::min(static_cast<std::size_t>(status.st_size), kReportBytes + 1));
    const ssize_t size = ::read(file.Get(), report.text.data(), report.text.size());
    report.text.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    if (size < 0) report.trouble = std::generic_category().message(errno);
    if (report.text.size() > kReportBytes) {
        report.trouble = "it is larger than " + std::to_string(kReportBytes) + " bytes";
        report.text.clear();
    }
    return report;
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        if (end != at) lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

}  // namespace

std::string MetricLinesOf(std::string_view text, std::string_view prefix, std::string& dropped) {
    std::string lines;
    std::set<std::string_view> heads;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (line.empty()) continue;
        if (IsUtf8(line) && (IsSample(line, prefix) || IsHead(line, prefix, heads)))
            lines.append(line).append("\n");
        else if (dropped.empty())
            dropped = line;
    }
    return lines;
}

ProgramReports::ProgramReports(std::string folder) : folder_(std::move(folder)) {
    if (folder_.empty()) return;
    std::error_code ignored;  // what is wrong shows when it is read
    std::filesystem::create_directories(std::filesystem::path(folder_).parent_path(), ignored);
    ::mkdir(folder_.c_str(), S_IRWXU);
}

std::vector<ProgramReports::Program> ProgramReports::Read(std::string& trouble) const {
    std::vector<Program> programs;
    if (folder_.empty()) return programs;
    std::set<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder_, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::filesystem::path path = entry->path();
        if (path.extension() == kMetricsEnding && IsProgramName(path.stem().string()))
            names.insert(path.stem().string());
    }
    if (error) trouble = "the folder of reports " + folder_ + " cannot be read: " + error.message();
    for (const std::string& name : names) {
        ReportFile file = ReadReport(folder_ + "/" + name + std::string(kMetricsEnding));
        if (!file.found) continue;  // it has ended in this moment
        if (programs.size() == kMostPrograms) {
            trouble = "more than " + std::to_string(kMostPrograms) + " programs report in " + folder_ + "; " +
                      name + " and what follows it is left out";
            break;
        }
        programs.push_back({name, std::move(file.trouble), std::move(file.text), file.age});
    }
    return programs;
}

std::string ProgramReports::MetricsText() {
    std::string trouble;
    std::string text;
    for (const Program& program : Read(trouble)) {
        if (!program.ReportsNow()) continue;
        std::string dropped;
        text += MetricLinesOf(program.metrics, "intercom_" + program.name + "_", dropped);
        SayOnce(program.name, dropped.empty() ? ""
                                              : "a line of the metrics of " + program.name +
                                                    " is none and is left out: " + dropped);
    }
    SayOnce("", trouble);
    return text;
}

std::vector<std::string> ProgramReports::Warnings() {
    std::vector<std::string> warnings;
    std::string trouble;
    for (const Program& program : Read(trouble)) {
        if (!program.trouble.empty()) {
            warnings.push_back(program.name + ": its metrics cannot be read: " + program.trouble);
            continue;
        }
        if (!program.ReportsNow()) {
            warnings.push_back(program.name + " has not reported for " + std::to_string(program.age.count()) +
                               " s");
            continue;
        }
        const ReportFile file = ReadReport(folder_ + "/" + program.name + std::string(kWarningsEnding));
        if (!file.trouble.empty())
            warnings.push_back(program.name + ": its warnings cannot be read: " + file.trouble);
        if (file.age > kReportLasts) continue;
        for (const std::string& line : LinesOf(file.text))
            warnings.push_back(program.name + ": " + line);
    }
    if (!trouble.empty()) warnings.push_back(trouble);
    return warnings;
}

// Said again when it has been well in between.
void ProgramReports::SayOnce(const std::string& subject, const std::string& text) {
    std::string& said = said_[subject];
    if (said.empty() && !text.empty()) HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName, text);
    said = text;
}

}  // namespace driverhost
