// Any bytes as a home file: a home that keeps its promises, or one line that says what is wrong
// and where.
#include "driverhost/home/HomeFile.h"

#include <algorithm>
#include <set>

#include "fuzz/Fuzz.h"

namespace {

using namespace driverhost;

constexpr std::string_view kFile = "home.xml:";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

void CheckHome(const Home& home) {
    std::set<unsigned long> ids;
    std::set<std::string> names;
    for (const DriverEntry& driver : home.drivers) {
        fuzz::Require(driver.id >= 1 && driver.id <= 4294967295UL, "ids are within their range");
        fuzz::Require(ids.insert(driver.id).second, "ids are unique");
        fuzz::Require(names.insert(driver.name).second, "names are unique");
        fuzz::Require(driver.name.find('/') == std::string::npos, "a name can name a folder");
        const auto config = fuzz::RequireXml("a driver's config", driver.config);
        fuzz::RequireEqual("a driver's config", "config", config->NodeGetName());
    }
}

void CheckError(const std::string& error) {
    const bool isLine =
        std::none_of(error.begin(), error.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; });
    if (!isLine) fuzz::Fault("the error is not one line: " + error);
    const bool placed =
        error.starts_with(kFile) && error.size() > kFile.size() && IsDigit(error[kFile.size()]);
    if (!placed) fuzz::Fault("the error names no place: " + error);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        CheckHome(ParseHome(fuzz::Bytes(data, size), "home.xml", FUZZ_PLUGIN_FOLDER));
    } catch (const HomeFileError& error) {
        CheckError(error.what());
    }
    fuzz::RequireNothingAlive();
    return 0;
}
