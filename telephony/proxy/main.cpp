// The SIP proxy of the home, made of the agent's records. See docs/sipproxy.md.
#include <sys/stat.h>

#include <cstdlib>
#include <exception>
#include <iostream>

#include "telephony/proxy/Files.h"
#include "telephony/proxy/Options.h"
#include "telephony/proxy/Service.h"

namespace {

int Carry(const proxy::Options& options) {
    switch (options.task) {
        case proxy::Options::Task::kHelp:
            std::cout << proxy::kUsage;
            return EXIT_SUCCESS;
        case proxy::Options::Task::kCheck:
            return proxy::Check(options);
        case proxy::Options::Task::kStatus:
            return proxy::TellStatus(options);
        case proxy::Options::Task::kRun:
            break;
    }
    proxy::Service(options).Run();
    return EXIT_SUCCESS;
}

}  // namespace

int main(int count, char** words) try {
    ::umask(S_IRWXG | S_IRWXO);
    return Carry(proxy::ReadOptions(count, words));
} catch (const std::exception& fault) {
    std::cerr << "sipproxy: " << fault.what() << "\n";
    return EXIT_FAILURE;
}
