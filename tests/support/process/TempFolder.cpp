#include "tests/support/process/TempFolder.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace test {

TempFolder::TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "intercom-test-XXXXXX").string();
    if (!::mkdtemp(name.data())) throw std::runtime_error("no temporary folder: " + name);
    path_ = name;
}

TempFolder::~TempFolder() {
    std::error_code ignored;  // what cannot be removed must not end the test run
    std::filesystem::remove_all(path_, ignored);
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream text;
    if (stream) text << stream.rdbuf();
    return text.str();
}

void WriteFile(const std::filesystem::path& path, std::string_view text) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << text;
    stream.close();
    if (!stream) throw std::runtime_error(path.string() + ": cannot be written");
}

}  // namespace test
