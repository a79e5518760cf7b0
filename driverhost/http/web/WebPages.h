// The pages as clients get them: paths, caching, packed forms, and what a browser must not do with them.
#ifndef DRIVERHOST_HTTP_WEB_WEBPAGES_H
#define DRIVERHOST_HTTP_WEB_WEBPAGES_H

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "driverhost/http/Message.h"
#include "driverhost/http/web/WebFolder.h"

namespace driverhost {

class DriverThread;

/// All operations: [driver thread]
class WebPages {
public:
    /// Reads the folder; an empty name means that there are no pages. Throws FileError.
    WebPages(DriverThread& thread, std::string folder);
    WebPages(const WebPages&) = delete;
    WebPages& operator=(const WebPages&) = delete;
    /// Waits for a reading. The loop must not run any more.
    ~WebPages() = default;

    /// Reads the folder again, on a thread of its own. If it cannot be read, the pages stay as they are, and
    /// the log says so.
    void ReadAgain();

    /// The answer when the path, in its decoded parts, is that of a page; none when there is no such page.
    std::optional<Response> Answer(const Request& request, const std::vector<std::string>& path) const;

    bool HasFolder() const { return !folder_.empty(); }

private:
    const WebFile* Find(const std::vector<std::string>& path) const;
    void Replace(WebFolder pages);

    DriverThread& thread_;
    const std::string folder_;
    WebFolder pages_;
    std::jthread reader_;
    bool reading_ = false;
    bool again_ = false;  // asked to read again meanwhile
};

/// True when an Accept-Encoding line allows gzip (RFC 9110, section 12.5.3).
bool AllowsGzip(std::string_view line);

/// True when an If-None-Match line has the entity tag, given with its quotes (RFC 9110, section 13.1.2).
bool HasTag(std::string_view line, std::string_view tag);

}  // namespace driverhost

#endif
