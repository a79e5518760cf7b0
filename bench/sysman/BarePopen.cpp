// What one request to the system manager costs by itself: popen, the first line, pclose.
//
//     bare_popen MILLISECONDS    asks "kill", then "enable", as often as the time allows; prints the seconds
//     that
//                                each pair took, as JSON
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

using std::chrono::steady_clock;

bool Ask(const char* command) {
    std::FILE* const stream = popen(command, "r");
    if (!stream) return false;
    std::array<char, 100> line{};
    const bool answered = std::fgets(line.data(), line.size(), stream) != nullptr;
    pclose(stream);
    return answered;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: bare_popen MILLISECONDS\n", stderr);
        return 2;
    }
    const auto end = steady_clock::now() + std::chrono::milliseconds(std::atoi(argv[1]));
    const char* before = "{\"seconds\": [";
    for (auto begin = steady_clock::now(); begin < end;) {
        if (!Ask("sysman kill sipproxy") || !Ask("sysman enable sipproxy")) {
            std::fputs("bare_popen: sysman does not answer\n", stderr);
            return 1;
        }
        const auto done = steady_clock::now();
        std::printf("%s%.9f", before, std::chrono::duration<double>(done - begin).count());
        before = ", ";
        begin = done;
    }
    std::puts("]}");
}
