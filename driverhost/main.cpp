// The driver host: one home's drivers in one process, served over HTTP.
#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

#include "driverhost/HostProcess.h"
#include "driverhost/http/Server.h"
#include "driverhost/plugins/AbiNote.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/FileSystem.h"
#include "host/glue/Log.h"

namespace {

using namespace driverhost;

// A closed standard error and a file too large are errors of that write, not the end. Handlers,
// not SIG_IGN: programs that drivers start get the default back.
void SurviveWriteSignals() {
    for (const int number : {SIGPIPE, SIGXFSZ})
        std::signal(number, [](int) {});
}

// As many connections as the host allows itself need more descriptors than most shells grant.
void RaiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);  // what is not granted shows when connections are refused
}

int Fail(ExitStatus status, const std::exception& error) {
    HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName, error.what());
    return status;
}

int RunHost(const Options& options) {
    const Home home = ReadHomeFile(options.home, options.pluginFolder);
    HostProcess host(options, home);
    host.LoadLibraries();
    host.LoadStates();
    host.Listen();
    host.StartDrivers();
    host.Serve();
    return host.StopDrivers() ? EXIT_ORDERLY : EXIT_NO_START;
}

int Run(int argc, char** argv) {
    const Options options = ParseOptions(argc, argv);
    if (!options.printOnly.empty())
        return std::fputs(options.printOnly.c_str(), stdout) < 0 ? EXIT_NO_START : EXIT_ORDERLY;
    HostLog::Start(options.logLevel, DetectLogForm());
    SurviveWriteSignals();
    RaiseDescriptorLimit();
    return RunHost(options);
}

}  // namespace

int main(int argc, char** argv) {
    HostLog::Start(dv::LOG_LEVEL_INFO, DetectLogForm());
    try {
        return Run(argc, argv);
    } catch (const OptionError& error) {
        return Fail(EXIT_WRONG_USE, error);
    } catch (const HomeFileError& error) {
        return Fail(EXIT_WRONG_USE, error);
    } catch (const PluginError& error) {
        return Fail(EXIT_WRONG_USE, error);
    } catch (const std::exception& error) {
        return Fail(EXIT_NO_START, error);
    }
}
