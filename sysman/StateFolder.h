// The folder that says whether a service is wanted, and which process it runs as.
//
//     FOLDER/lock             locked while a request is carried out
//     FOLDER/SERVICE.wanted   "enabled" or "disabled"
//     FOLDER/SERVICE.process  process number, start time and boot, while the program may be running
//     FOLDER/SERVICE.log      what the program has printed since it was enabled
#ifndef SYSMAN_STATEFOLDER_H
#define SYSMAN_STATEFOLDER_H

#include <optional>
#include <string>

#include "sysman/Process.h"

/// All operations throw Failure when the folder cannot be used.
class StateFolder {
public:
    /// Uses SYSMAN_STATE_DIR, else intercom-sysman in XDG_STATE_HOME, else in ~/.local/state. Makes the
    /// folder, for its owner only, and locks it for the life of this object.
    StateFolder();
    ~StateFolder();
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    /// True when the service was noted as not wanted; false when nothing was noted yet.
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
