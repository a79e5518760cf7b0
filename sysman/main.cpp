// A system manager for machines that have none:
//
//     sysman enable|disable|kill sipproxy
//
// It prints the request's word when the request is done, and says on standard error what it did. Without
// SIPPROXY_PROGRAM it only keeps the wanted state, in the files that StateFolder.h lists.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "sysman/Service.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

constexpr char kService[] = "sipproxy";

struct Request {
    const char* word;
    std::string (Service::*carryOut)();
};
constexpr Request kRequests[] = {
    {"enable", &Service::Enable},
    {"disable", &Service::Disable},
    {"kill", &Service::Kill},
};

int WrongUse(const std::string& fault) {
    std::fprintf(stderr, "sysman: %s\nusage: sysman enable|disable|kill %s\n", fault.c_str(), kService);
    return kWrongUse;
}

int CarryOut(const Request& request) {
    const char* const program = std::getenv("SIPPROXY_PROGRAM");
    StateFolder state;
    Service service(state, kService, program ? program : "");
    const std::string done = (service.*request.carryOut)();
    std::fprintf(stderr, "sysman: %s %s: %s\n", request.word, kService, done.c_str());
    if (std::printf("%s\n", request.word) < 0 || std::fflush(stdout) != 0)
        throw SystemFailure("cannot answer on standard output");
    return kDone;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return WrongUse("expected two arguments, a request and a service");
    const std::string word = argv[1];
    const std::string service = argv[2];
    if (service != kService) return WrongUse("unknown service \"" + service + "\"");
    try {
        for (const Request& request : kRequests) {
            if (word == request.word) return CarryOut(request);
        }
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "sysman: %s %s: %s\n", word.c_str(), service.c_str(), failure.what());
        return kFailed;
    }
    return WrongUse("unknown request \"" + word + "\"");
}
