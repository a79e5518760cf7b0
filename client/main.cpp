// intercomctl: the intercom agent from the command line.
#include <iostream>

#include "client/Answers.h"
#include "client/Commands.h"

int main(int argc, char** argv) {
    try {
        const Options options = Options::Read(argc, argv);
        if (options.help) {
            std::cout << Options::Usage();
            return EXIT_DONE;
        }
        const ExitStatus status = RunCommand(options);
        FlushOutput();
        return status;
    } catch (const Failure& failure) {
        std::cerr << "intercomctl: " << failure.what() << "\n";
        if (failure.status == EXIT_WRONG_USE) std::cerr << "Run intercomctl --help for its usage.\n";
        return failure.status;
    } catch (const std::exception& error) {
        std::cerr << "intercomctl: " << error.what() << "\n";
        return EXIT_NO_ANSWER;
    }
}
