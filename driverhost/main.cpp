// The driver host: one home's drivers in one process, served over HTTP.
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string>

#include "driverhost/HostProcess.h"
#include "driverhost/ProcessSetup.h"
#include "driverhost/http/server/Server.h"
#include "driverhost/plugins/LibraryTrial.h"
#include "driverhost/plugins/PluginLibrary.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/FileSystem.h"
#include "host/glue/Log.h"

namespace {

using namespace driverhost;

int Fail(ExitStatus status, const std::exception& error) {
    HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName, error.what());
    return status;
}

int RunHost(Options options) {
    const Fault tooFew = FitToDescriptors(options.limits);
    const Home home = ReadHomeFile(options.home, options.pluginFolder);
    if (!home.warning.empty()) HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName, home.warning);
    HostProcess host(options, home);
    host.LoadLibraries();
    host.LoadStates();
    host.Listen();
    if (!tooFew.empty()) HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName, tooFew);
    host.StartDrivers();
    host.Serve();
    return host.StopDrivers() ? EXIT_ORDERLY : EXIT_NO_START;
}

int Run(int argc, char** argv) {
    const Options options = ParseOptions(argc, argv);
    if (!options.printOnly.empty())
        return std::fputs(options.printOnly.c_str(), stdout) < 0 ? EXIT_NO_START : EXIT_ORDERLY;
    HostLog::Start(options.logLevel, DetectLogForm());
    return RunHost(options);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && argv[1] == std::string(kTrialOption)) _exit(RunLibraryTrial(argv[2]));
    KeepStandardStreams();
    SurviveWriteSignals();
    RestoreChildSignal();
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
