// command_reference PAGE: prints the page with its table of the agent's commands made anew.
#include <cstdio>
#include <exception>

#include "tests/docs/Pages.h"
#include "tests/support/process/TempFolder.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "use: command_reference PAGE\n");
        return 2;
    }
    try {
        const auto commands = docs::ReadCommands(docs::AskForCommands());
        const std::string page =
            docs::RenewCommandTable(test::ReadFile(argv[1]), commands, docs::ReadPages());
        std::fwrite(page.data(), 1, page.size(), stdout);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "command_reference: %s\n", error.what());
        return 1;
    }
}
