// A folder for one test, removed with all that is in it.
#ifndef TESTS_DRIVERHOST_SUPPORT_TEMPORARYFOLDER_H
#define TESTS_DRIVERHOST_SUPPORT_TEMPORARYFOLDER_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace driverhost {

class TemporaryFolder {
public:
    TemporaryFolder() {
        if (!mkdtemp(path_.data())) throw std::runtime_error("no temporary folder");
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;  // a left-over in /tmp fails no test
        std::filesystem::remove_all(path_, ignored);
    }

    const std::string& Path() const { return path_; }

    /// Writes a file in the folder; its path.
    std::string Write(const std::string& name, const std::string& text) const {
        std::ofstream(path_ + "/" + name) << text;
        return path_ + "/" + name;
    }

private:
    std::string path_ = "/tmp/driverhost-test-XXXXXX";
};

}  // namespace driverhost

#endif
