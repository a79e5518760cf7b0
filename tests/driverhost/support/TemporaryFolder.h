// A temporary folder for one test, with its paths as strings.
#ifndef TESTS_DRIVERHOST_SUPPORT_TEMPORARYFOLDER_H
#define TESTS_DRIVERHOST_SUPPORT_TEMPORARYFOLDER_H

#include <string>

#include "tests/support/process/TempFolder.h"

namespace driverhost {

class TemporaryFolder {
public:
    std::string Path() const { return folder_.Path().string(); }

    /// Writes a file in the folder. Returns its path.
    std::string Write(const std::string& name, const std::string& text) const {
        test::WriteFile(folder_ / name, text);
        return (folder_ / name).string();
    }

private:
    test::TempFolder folder_;
};

}  // namespace driverhost

#endif
