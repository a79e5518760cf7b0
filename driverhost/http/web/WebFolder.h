// The folder of the pages, read into memory as a whole: so no request waits for a disk, and none can reach
// anything outside, because only what was read here has a path.
#ifndef DRIVERHOST_HTTP_WEB_WEBFOLDER_H
#define DRIVERHOST_HTTP_WEB_WEBFOLDER_H

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace driverhost {

struct WebFile {
    std::string_view type;  // of the content, a constant
    std::string hash;       // of the content; another one whenever a byte changes
    std::shared_ptr<const std::string> content;
    std::shared_ptr<const std::string> packed;  // the same as gzip packs it; null when there is no such file
};

struct WebFolder {
    std::map<std::string, WebFile, std::less<>> files;  // by path, like "tablet/index.html"
    std::vector<std::string> faults;                    // a sentence for each file that is left out
};

/// The bounds of a folder, far above what pages need.
inline constexpr std::size_t kMostWebFiles = 4096;
inline constexpr std::size_t kMostWebBytes = 64UL * 1024 * 1024;

/// Files of types that WebTypeOf does not know, and files and folders whose names begin with a dot, are no
/// pages. Links are left out. NAME.gz is taken as the packed form of NAME, if it is that.
/// Throws FileError when the folder cannot be read or is beyond its bounds.  [any thread]
WebFolder ReadWebFolder(const std::string& folder);

/// The content type of a file by the end of its name; empty when pages have no such files.
std::string_view WebTypeOf(std::string_view name);

}  // namespace driverhost

#endif
