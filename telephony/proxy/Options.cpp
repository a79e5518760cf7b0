#include "telephony/proxy/Options.h"

#include <unistd.h>

#include <cstdlib>
#include <map>

#include "telephony/proxy/Files.h"
#include "telephony/report/Report.h"

namespace proxy {

const char kUsage[] = R"(usage: sipproxy [--check | --status [--json]] [OPTION ...]

Runs the SIP proxy of the home: makes Kamailio's configuration of the agent's records, starts Kamailio,
watches it, and keeps accounts and groups in step while it runs.

  --check             prints what it would run with and what is wrong with records, and ends
  --status            prints who is registered, which accounts there are and what is wrong, and ends
  --json              the status as JSON
  --host-socket PATH  the driver host's unix socket (INTERCOM_HOST_SOCKET)
  --state-dir PATH    where the last good records lie (SIPPROXY_STATE_DIR; else intercom-sipproxy under
                      XDG_STATE_HOME or ~/.local/state)
  --run-dir PATH      where the configuration and the contacts lie, in memory (SIPPROXY_RUN_DIR; else
                      intercom-sipproxy under XDG_RUNTIME_DIR, else /dev/shm/intercom-sipproxy-USERID)
  --loopback          listens for this machine's own programs alone (SIPPROXY_LOOPBACK=yes)
  --kamailio PROGRAM  another Kamailio (SIPPROXY_KAMAILIO)

INTERCOM_REPORTS_DIR names the folder where metrics and warnings are left for the driver host.
)";

namespace {

std::string Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

std::string First(std::initializer_list<std::string> values) {
    for (const std::string& value : values)
        if (!value.empty()) return value;
    return "";
}

std::string Under(const std::string& folder, const std::string& name) {
    return folder.empty() ? "" : folder + name;
}

}  // namespace

Options ReadOptions(int count, char** words) {
    Options options;
    const std::map<std::string, std::string*> values = {{"--host-socket", &options.hostSocket},
                                                        {"--state-dir", &options.stateFolder},
                                                        {"--run-dir", &options.runFolder},
                                                        {"--kamailio", &options.kamailio}};
    if (const std::string program = Environment("SIPPROXY_KAMAILIO"); !program.empty())
        options.kamailio = program;
    options.onlyThisMachine = Environment("SIPPROXY_LOOPBACK") == "yes";
    for (int at = 1; at < count; ++at) {
        const std::string word = words[at];
        if (word == "--check")
            options.task = Options::Task::kCheck;
        else if (word == "--status")
            options.task = Options::Task::kStatus;
        else if (word == "--help" || word == "-h")
            options.task = Options::Task::kHelp;
        else if (word == "--json")
            options.json = true;
        else if (word == "--loopback")
            options.onlyThisMachine = true;
        else if (!values.contains(word))
            throw Failure("unknown option '" + word + "'; see sipproxy --help");
        else if (at + 1 == count)
            throw Failure("the option " + word + " needs a value");
        else
            *values.at(word) = words[++at];
    }
    options.hostSocket = First({options.hostSocket, Environment("INTERCOM_HOST_SOCKET")});
    options.stateFolder = First({options.stateFolder, Environment("SIPPROXY_STATE_DIR"),
                                 Under(Environment("XDG_STATE_HOME"), "/intercom-sipproxy"),
                                 Under(Environment("HOME"), "/.local/state/intercom-sipproxy")});
    options.runFolder = First({options.runFolder, Environment("SIPPROXY_RUN_DIR"),
                               Under(Environment("XDG_RUNTIME_DIR"), "/intercom-sipproxy"),
                               "/dev/shm/intercom-sipproxy-" + std::to_string(::geteuid())});
    options.reportsFolder = telephony::ReportsFolder();
    if (options.stateFolder.empty())
        throw Failure("no place for the records: set SIPPROXY_STATE_DIR or HOME");
    return options;
}

}  // namespace proxy
