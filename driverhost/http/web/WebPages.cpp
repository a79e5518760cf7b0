#include "driverhost/http/web/WebPages.h"

#include <algorithm>
#include <boost/algorithm/string/join.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <utility>

#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/FileSystem.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

constexpr std::string_view kTabletFolder = "tablet";
constexpr std::string_view kIndex = "index.html";

// Nothing of another origin, nothing inline, no frames. Not "no-referrer": with it, what a page sends when it
// closes has no origin that the host could check.
constexpr std::string_view kEveryPage =
    "Content-Security-Policy: default-src 'self'; base-uri 'none'; object-src 'none'; form-action 'self'; "
    "frame-ancestors 'none'\r\n"
    "Referrer-Policy: same-origin\r\n";
constexpr std::string_view kTabletMay =
    "Permissions-Policy: camera=(self), microphone=(self), geolocation=(), display-capture=()\r\n";
constexpr std::string_view kOthersMay =
    "Permissions-Policy: camera=(), microphone=(), geolocation=(), display-capture=()\r\n";
// It may be kept, but the host is asked each time whether it has changed.
constexpr std::string_view kAskAgain = "no-cache";

std::string_view Trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

// Calls `found` with each part of a list until it returns true.
template <class Found>
bool AnyOf(std::string_view list, char separator, Found found) {
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(separator), list.size());
        if (found(Trimmed(list.substr(0, end)))) return true;
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return false;
}

bool IsZero(std::string_view weight) {
    return boost::istarts_with(weight, "q=0") && weight.find_first_not_of("0.", 2) == std::string_view::npos;
}

// Another one for each form, since their bytes differ.
std::string TagOf(const WebFile& file, bool packed) {
    return "\"" + file.hash + (packed ? "-gzip\"" : "\"");
}

Response PageResponse(const WebFile& file, bool isTablet, bool packed) {
    Response response;
    response.status = 200;
    response.contentType = file.type;
    response.caching = kAskAgain;
    response.sharedBody = packed ? file.packed : file.content;
    response.headers = "ETag: " + TagOf(file, packed) + "\r\n";
    if (file.packed) response.headers.append("Vary: Accept-Encoding\r\n");
    if (packed) response.headers.append("Content-Encoding: gzip\r\n");
    response.headers.append(kEveryPage).append(isTablet ? kTabletMay : kOthersMay);
    return response;
}

void LogFaults(const WebFolder& pages) {
    for (const std::string& fault : pages.faults)
        HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName, "left out of the pages: " + fault);
}

}  // namespace

bool AllowsGzip(std::string_view line) {
    return AnyOf(line, ',', [](std::string_view coding) {
        const std::size_t end = std::min(coding.find(';'), coding.size());
        if (!boost::iequals(Trimmed(coding.substr(0, end)), "gzip")) return false;
        return !AnyOf(coding.substr(end), ';', [](std::string_view parameter) { return IsZero(parameter); });
    });
}

bool HasTag(std::string_view line, std::string_view tag) {
    return AnyOf(line, ',', [tag](std::string_view known) {
        if (known.starts_with("W/")) known.remove_prefix(2);
        return known == tag || known == "*";
    });
}

WebPages::WebPages(DriverThread& thread, std::string folder) : thread_(thread), folder_(std::move(folder)) {
    if (!HasFolder()) return;
    pages_ = ReadWebFolder(folder_);
    LogFaults(pages_);
}

void WebPages::ReadAgain() {
    if (!HasFolder()) return;
    again_ = reading_;
    if (std::exchange(reading_, true)) return;
    reader_ = std::jthread([this] {
        auto pages = std::make_shared<WebFolder>();
        std::string fault;
        try {
            *pages = ReadWebFolder(folder_);
        } catch (const std::exception& error) {
            fault = error.what();
        }
        thread_.Post([this, pages, fault] {
            reading_ = false;
            if (fault.empty()) {
                Replace(std::move(*pages));
            } else {
                HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName, fault + "; they stay as they were");
            }
            if (std::exchange(again_, false)) ReadAgain();
        });
    });
}

void WebPages::Replace(WebFolder pages) {
    LogFaults(pages);
    pages_ = std::move(pages);
    HostLog::Write(dv::LOG_LEVEL_INFO, kHostName,
                   "the pages were read again: " + std::to_string(pages_.files.size()) + " files");
}

// A folder's path ends with a slash and stands for its index. Each tablet has a path of its own, and all of
// them the same page, which looks there for its tablet's name.
const WebFile* WebPages::Find(const std::vector<std::string>& path) const {
    const auto hasSlash = [](const std::string& part) { return part.find('/') != std::string::npos; };
    if (path.empty()) return nullptr;
    std::string name = boost::algorithm::join(path, "/");
    if (path.back().empty()) name += kIndex;
    const auto found = pages_.files.find(name);
    if (found != pages_.files.end() && std::none_of(path.begin(), path.end(), hasSlash))
        return &found->second;
    const bool isTablet = path.size() == 2 && path[0] == kTabletFolder && !path[1].empty();
    if (!isTablet || !WebTypeOf(path[1]).empty()) return nullptr;
    const auto page = pages_.files.find(std::string(kTabletFolder).append("/").append(kIndex));
    return page == pages_.files.end() ? nullptr : &page->second;
}

std::optional<Response> WebPages::Answer(const Request& request, const std::vector<std::string>& path) const {
    const WebFile* const file = Find(path);
    if (!file) return std::nullopt;
    if (request.method != "GET" && request.method != "HEAD") return OtherMethodResponse("GET, HEAD");
    const bool packed = file->packed && request.acceptEncoding && AllowsGzip(*request.acceptEncoding);
    Response response = PageResponse(*file, path.front() == kTabletFolder, packed);
    if (!request.ifNoneMatch || !HasTag(*request.ifNoneMatch, TagOf(*file, packed))) return response;
    response.status = 304;
    response.contentType = {};
    response.sharedBody = nullptr;
    return response;
}

}  // namespace driverhost
