// Kamailio as a whole: its processes are started together and end together, whoever is killed.
//
// Between sipproxy and Kamailio stands a keeper, a fork of sipproxy:
//
//     sipproxy ── keeper ── Kamailio's main process ── its workers
//
// sipproxy killed: the keeper's connection closes, and it kills the whole process group. Keeper killed:
// Kamailio's main process dies with it, and the workers fall to sipproxy, which kills them. Main process
// killed: its workers fall to the keeper. A worker killed: Kamailio ends by itself. Both sipproxy and the
// keeper killed in one moment: the next sipproxy finds what runs with its folder's script.
#ifndef TELEPHONY_PROXY_KAMAILIO_H
#define TELEPHONY_PROXY_KAMAILIO_H

#include <sys/types.h>

#include <string>

namespace proxy {

class Kamailio {
public:
    /// `program` with the script in `folder`. Makes this process the one that orphans fall to.
    Kamailio(std::string program, std::string folder);
    /// Kills it if it runs.
    ~Kamailio();
    Kamailio(const Kamailio&) = delete;
    Kamailio& operator=(const Kamailio&) = delete;

    /// Kills what an earlier sipproxy has left behind. Returns how many processes.
    static int KillLeftOver(const std::string& folder);

    /// Throws Failure when there can be no process. That the program is not there shows in how it ends.
    void Start();
    /// Asks it to end; the keeper kills what has not ended by itself after a while.
    void AskToEnd();

    /// Becomes readable when there is something to Collect; -1 when nothing runs.
    int Handle() const { return connection_; }
    /// Takes in what the keeper tells. True when everything has ended.
    bool Collect();

    bool IsRunning() const { return connection_ >= 0; }
    /// The main process; 0 while it is not known.
    pid_t Main() const { return main_; }
    /// How it ended last, in words.
    const std::string& LastEnd() const { return lastEnd_; }

private:
    void Finish();

    const std::string program_;
    const std::string folder_;
    int connection_ = -1;
    pid_t keeper_ = 0;
    pid_t main_ = 0;
    std::string told_;
    std::string lastEnd_;
};

}  // namespace proxy

#endif
