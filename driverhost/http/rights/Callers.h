// Who sends a request: the tokens of the token file, and the sessions that browsers have got for them.
//
// Of tokens and of the sessions' ids only hashes are kept, in memory and on disk. A session holds the tokens
// that it was given for, so it may what they may: a token that leaves the file takes its part with it.
#ifndef DRIVERHOST_HTTP_RIGHTS_CALLERS_H
#define DRIVERHOST_HTTP_RIGHTS_CALLERS_H

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "driverhost/http/Message.h"
#include "driverhost/runtime/Fault.h"
#include "driverhost/settings/Limits.h"
#include "driverhost/settings/TokenFile.h"
#include "driverhost/state/StateStore.h"

namespace driverhost {

/// Somebody who may do something. Shared by all requests and streams of one token or session.
struct Caller {
    Roles roles = ROLE_NOBODY;
    std::set<std::string> tablets = {};  // the drivers' names, with ROLE_TABLET
    bool isOpen = false;                 // nobody has to sign in here
    bool hasEnded = false;               // the rights were taken away: streams are to be closed
};

/// All operations: [driver thread]
class Callers {
public:
    using Time = std::chrono::system_clock::time_point;
    using Now = std::function<Time()>;
    /// Is told when the change is on disk, or why it is not.
    using Done = std::function<void(const Fault& error)>;

    /// Without tokens everybody is admin. Sessions are stored by `store`. With TLS, cookies are for TLS only.
    Callers(std::vector<Token> tokens, StateStore& store, const Limits& limits, bool isTls,
            Now now = &std::chrono::system_clock::now);

    /// Reads the stored sessions, and ends those whose time or tokens are over. Throws FileError.
    void Load();

    /// The token file was read again, and there are tokens as before. Whoever has fewer rights now has ended.
    void UseTokens(std::vector<Token> tokens);

    struct Found {
        CallerPtr caller;                 // null: somebody who has not signed in
        std::optional<Response> refusal;  // the token is wrong, or there were too many of those
        bool isBySession = false;  // the browser adds the cookie, whichever page made it send the request
    };
    Found Identify(const Request& request);

    struct SignedIn {
        CallerPtr caller;  // null: refused
        std::optional<Response> refusal;
        std::string setCookie;  // a header line
    };
    /// Gives a session for a token: to who has one already, a new id for it with this token's rights added.
    /// What `done` is told stands for the answer. `done` is not called after a refusal.
    SignedIn SignIn(const Request& request, std::string_view token, const Done& done);

    /// Ends the session of the request. False when it has none, and then `done` is not called.
    bool SignOut(const Request& request, const Done& done);

    /// The header line by which a browser keeps the session's cookie for the full time from now on; empty
    /// when the request has no session.
    std::string KeepCookie(const Request& request) const;
    /// The header line by which it forgets it.
    std::string ForgetCookie() const;

private:
    struct Bearer {
        Token token;
        std::shared_ptr<Caller> caller;
    };
    struct Session {
        std::set<std::string> tokens;  // their hashes
        Time end;
        std::shared_ptr<Caller> caller;
    };
    struct Wrong {
        std::size_t count = 0;
        Time since;
    };
    using SessionTable = std::map<std::string, Session>;  // by the hash of the id

    std::shared_ptr<Caller> MakeCaller(const std::set<std::string>& tokens) const;
    std::set<std::string> Known(const std::set<std::string>& tokens) const;
    bool EndOutdated();
    void DropOldest(const std::string& token);
    SessionTable::iterator FindSession(const Request& request);
    void Renew(Session& session);
    std::string SetCookie(std::string_view id, std::chrono::seconds age) const;
    void Store(const Done& done);

    std::optional<Response> RefuseGuesser(std::string_view peer);
    Response RefuseWrong(std::string_view peer);

    StateStore& store_;
    const Limits& limits_;
    const bool isTls_;
    const std::string cookieName_;
    const Now now_;

    const CallerPtr everybody_;              // where nobody has to sign in
    const CallerPtr local_;                  // by the unix socket
    std::map<std::string, Bearer> bearers_;  // by the token's hash
    SessionTable sessions_;
    std::map<std::string, Wrong, std::less<>> wrong_;  // by address
};

/// The value of that cookie in a Cookie line; none when it is not there or there are several: then one was
/// planted by somebody.
std::optional<std::string_view> FindCookie(std::string_view line, std::string_view name);

}  // namespace driverhost

#endif
