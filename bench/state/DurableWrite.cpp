// The least that a durable change costs on this disk: a temporary file, fsync, rename over the old file,
// fsync of the folder.
//
//     durable_write FILE FOLDER MILLISECONDS    writes the bytes of FILE into FOLDER as often as the time
//                                               allows; prints the seconds that each took, as JSON
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

int Checked(int result, const char* what) {
    if (result < 0) throw std::runtime_error(std::string("durable_write: cannot ") + what);
    return result;
}

void WriteOnce(const std::string& text, const std::string& folder) {
    const std::string temporary = folder + "/new";
    const int file = Checked(open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), "open");
    if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("durable_write: cannot write all");
    Checked(fsync(file), "sync the file");
    close(file);
    Checked(rename(temporary.c_str(), (folder + "/document").c_str()), "rename");
    const int opened = Checked(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC), "open the folder");
    Checked(fsync(opened), "sync the folder");
    close(opened);
}

std::vector<double> WriteFor(std::chrono::milliseconds time, const std::string& text,
                             const std::string& folder) {
    std::vector<double> taken;
    const auto end = steady_clock::now() + time;
    for (auto begin = steady_clock::now(); begin < end;) {
        WriteOnce(text, folder);
        const auto done = steady_clock::now();
        taken.push_back(Seconds(done - begin).count());
        begin = done;
    }
    return taken;
}

void Print(const std::vector<double>& taken) {
    const char* before = "{\"seconds\": [";
    for (const double seconds : taken) {
        std::printf("%s%.9f", before, seconds);
        before = ", ";
    }
    std::puts("]}");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: durable_write FILE FOLDER MILLISECONDS\n", stderr);
        return 2;
    }
    try {
        std::ifstream file(argv[1], std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        Print(WriteFor(std::chrono::milliseconds(std::atoi(argv[3])), text, argv[2]));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
