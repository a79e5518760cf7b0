// A folder of a test's own, removed with all that is in it.
#ifndef TESTS_SUPPORT_PROCESS_TEMPFOLDER_H
#define TESTS_SUPPORT_PROCESS_TEMPFOLDER_H

#include <filesystem>
#include <string>
#include <string_view>

namespace test {

class TempFolder {
public:
    /// Throws std::runtime_error when it cannot be made.
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

/// The whole file; empty when there is none.
std::string ReadFile(const std::filesystem::path& path);

/// Replaces the file. Throws std::runtime_error when it cannot be written.
void WriteFile(const std::filesystem::path& path, std::string_view text);

}  // namespace test

#endif
