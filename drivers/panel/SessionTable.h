// The sessions that a panel holds, as findSessionId answers them.
#ifndef DRIVERS_PANEL_SESSIONTABLE_H
#define DRIVERS_PANEL_SESSIONTABLE_H

#include <string>
#include <vector>

/// Session numbers are 0 to 254; dvIntercom::NO_SESSION stands for none.
class SessionTable {
public:
    /// Notes a session with `remote` (a device key) beside those that are there.
    void Add(const std::string& remote, unsigned char number);
    /// The same in the place of every session with `remote`.
    void Replace(const std::string& remote, unsigned char number);

    /// Both tell whether there was one.
    bool CloseRemote(const std::string& remote);
    bool CloseNumber(unsigned char number);

    /// The number of the first session with `remote`, or NO_SESSION.
    unsigned char Find(const std::string& remote) const;
    /// True when a session has that number, held or not.
    bool IsTaken(unsigned char number) const;

    /// A held session stays open but is not active. Unknown numbers are ignored.
    void SetHeld(unsigned char number, bool held);
    /// True when the session is open and not held.
    bool IsActive(unsigned char number) const;

private:
    struct Session {
        std::string remote;
        unsigned char number;
        bool held;
    };

    std::vector<Session> sessions_;
};

#endif
