// Certificates for tests, made by the script that homes use.
#ifndef TESTS_DRIVERHOST_SUPPORT_CERTIFICATES_H
#define TESTS_DRIVERHOST_SUPPORT_CERTIFICATES_H

#include <stdexcept>
#include <string>
#include <vector>

#include "driverhost/settings/Options.h"
#include "tests/support/process/RunProgram.h"
#include "tests/support/process/TempFolder.h"

namespace driverhost {

/// A folder with an authority and a certificate for these names.
class Certificates {
public:
    explicit Certificates(const std::vector<std::string>& names = {"localhost", "127.0.0.1", "box.local"}) {
        Renew(names);
    }

    /// Makes another certificate by the same authority.
    void Renew(const std::vector<std::string>& names) const {
        const auto made = Run(names);
        if (made.status != 0) throw std::runtime_error(made.errors);
    }

    test::ProgramResult Run(const std::vector<std::string>& arguments) const {
        std::vector<std::string> words = {CERTIFICATE_SCRIPT, folder_.Path()};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return test::RunProgram(words);
    }

    std::string Path(const std::string& name) const { return folder_ / name; }
    TlsFiles Files() const { return {Path("host.pem"), Path("host.key"), Path("authority.pem")}; }

private:
    test::TempFolder folder_;
};

}  // namespace driverhost

#endif
