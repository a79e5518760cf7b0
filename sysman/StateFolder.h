// Where the wanted state of a service and its running process are noted.
//
//     FOLDER/lock             held while a request is carried out
//     FOLDER/SERVICE.wanted   "enabled" or "disabled"
//     FOLDER/SERVICE.process  process number, start time, boot; while the program may run
//     FOLDER/SERVICE.log      what the program printed since it was started last
#ifndef SYSMAN_STATEFOLDER_H
#define SYSMAN_STATEFOLDER_H

#include <optional>
#include <string>

#include "sysman/Process.h"

/// Every operation throws Failure when the folder cannot be used.
class StateFolder {
public:
    /// SYSMAN_STATE_DIR, else intercom-sysman under XDG_STATE_HOME, else under ~/.local/state. Makes
    /// the folder, for its owner alone, and locks it until the end of this object.
    StateFolder();
    ~StateFolder();
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    /// False when nothing was noted yet.
    bool IsDisabled(const std::string& service) const;
    void NoteWanted(const std::string& service, bool enabled);

    std::optional<ProcessIdentity> ReadProcess(const std::string& service) const;
    void NoteProcess(const std::string& service, const ProcessIdentity& process);
    void ForgetProcess(const std::string& service);

    std::string LogFile(const std::string& service) const { return folder_ + "/" + service + ".log"; }

private:
    std::string WantedFile(const std::string& service) const { return folder_ + "/" + service + ".wanted"; }
    std::string ProcessFile(const std::string& service) const { return folder_ + "/" + service + ".process"; }
    void Lock();

    std::string folder_;
    int lock_ = -1;
};

#endif
