// The main of a target that is built without the fuzzer: runs it over files and whole folders of
// inputs. The last line before a fault names the input.
//
//     fuzz_xml_reader fuzz/corpus/xml_reader
//     fuzz_xml_reader build/fuzz/findings/xml_reader/crash-0a1b2c
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> InputsOf(int argc, char** argv) {
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            inputs.emplace_back(argv[i]);
            continue;
        }
        for (const auto& entry : fs::directory_iterator(argv[i]))
            inputs.push_back(entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

bool RunFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::printf("%s (%zu bytes)\n", path.c_str(), bytes.size());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<fs::path> inputs = InputsOf(argc, argv);
    if (inputs.empty()) {
        std::fprintf(stderr, "usage: %s FILE|FOLDER ... (there is no input in what was given)\n", argv[0]);
        return 2;
    }
    for (const fs::path& input : inputs) {
        if (RunFile(input)) continue;
        std::fprintf(stderr, "%s cannot be read\n", input.c_str());
        return 1;
    }
    std::printf("%zu inputs, no fault\n", inputs.size());
    return 0;
}
