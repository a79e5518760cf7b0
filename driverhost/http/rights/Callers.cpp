#include "driverhost/http/rights/Callers.h"

#include <strings.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "driverhost/runtime/Digest.h"
#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"
#include "host/glue/Numbers.h"
#include "host/glue/XmlText.h"

namespace driverhost {
namespace {

using std::chrono::seconds;
using std::chrono::system_clock;

constexpr char kFolder[] = ".sessions";  // no driver's: their names do not begin with a dot
constexpr char kWriter[] = "driverhost";
constexpr std::string_view kBearer = "Bearer ";
constexpr std::size_t kIdBytes = 32;              // nobody guesses one
constexpr std::chrono::days kUnusedFor{400};      // as long as browsers keep a cookie
constexpr std::chrono::days kBetweenRenewals{1};  // each of them writes to the disk
constexpr std::size_t kAddresses = 4096;          // of which wrong tokens are counted

Response Unauthorized(const std::string& text) {
    Response response = ErrorResponse(401, text);
    response.headers = "WWW-Authenticate: Bearer\r\n";
    return response;
}

// None when the line has another scheme.
std::optional<std::string_view> TokenOf(std::string_view authorization) {
    if (authorization.size() < kBearer.size() ||
        strncasecmp(authorization.data(), kBearer.data(), kBearer.size()) != 0)
        return std::nullopt;
    return authorization.substr(kBearer.size());
}

void Add(Caller& caller, const Token& token) {
    caller.roles |= token.role;
    if (token.role == ROLE_TABLET) caller.tablets.insert(token.tablet);
}

bool HaveEqualRights(const Caller& left, const Caller& right) {
    return left.roles == right.roles && left.tablets == right.tablets;
}

CallerPtr MakeAdmin(bool isOpen) {
    return std::make_shared<Caller>(Caller{.roles = ROLE_ADMIN, .isOpen = isOpen});
}

}  // namespace

std::optional<std::string_view> FindCookie(std::string_view line, std::string_view name) {
    std::optional<std::string_view> found;
    while (!line.empty()) {
        const std::size_t end = std::min(line.find(';'), line.size());
        const std::string_view pair = dv::Trim(line.substr(0, end));
        line.remove_prefix(std::min(end + 1, line.size()));
        if (!pair.starts_with(name) || pair.substr(name.size(), 1) != "=") continue;
        if (found) return std::nullopt;
        found = pair.substr(name.size() + 1);
    }
    return found;
}

Callers::Callers(std::vector<Token> tokens, StateStore& store, const Limits& limits, bool isTls, Now now)
    : store_(store),
      limits_(limits),
      isTls_(isTls),
      cookieName_(isTls ? "__Host-intercom" : "intercom"),
      now_(std::move(now)),
      everybody_(tokens.empty() ? MakeAdmin(true) : nullptr),
      local_(MakeAdmin(false)) {
    store_.AddDriver(kFolder, kWriter);
    UseTokens(std::move(tokens));
}

// Without tokens there are no sessions either; those that are stored wait for a start with a token file.
void Callers::Load() {
    if (everybody_) return;
    const LoadedState loaded = store_.Load(kFolder, [](std::string_view document) {
        return DvXML::ParseRoot(document) ? Fault() : Fault("it is not XML");
    });
    const auto list = DvXML::ParseRoot(loaded.document.value_or(std::string()));
    if (!list) return;
    for (const DvXML::INode* element : list->NodeChildren()) {
        Session session;
        session.end = system_clock::from_time_t(dv::ParseLong(element->NodeGetNamedValue("end")));
        for (const DvXML::INode* child : element->NodeChildren())
            if (child->NodeGetName() == "token") session.tokens.emplace(child->NodeGetText());
        session.caller = MakeCaller(session.tokens);
        sessions_.emplace(element->NodeGetNamedValue("id"), std::move(session));
    }
    if (EndOutdated()) Store({});
}

// A token that gives the same as before goes on as the same caller, and its streams with it.
void Callers::UseTokens(std::vector<Token> tokens) {
    std::map<std::string, Bearer> former = std::exchange(bearers_, {});
    for (Token& token : tokens) {
        auto caller = std::make_shared<Caller>();
        Add(*caller, token);
        const auto before = former.find(token.hash);
        if (before != former.end() && HaveEqualRights(*before->second.caller, *caller))
            caller = std::exchange(before->second.caller, nullptr);
        const std::string hash = token.hash;
        bearers_.emplace(hash, Bearer{std::move(token), std::move(caller)});
    }
    for (auto& [hash, bearer] : former)
        if (bearer.caller) bearer.caller->hasEnded = true;
    if (EndOutdated()) Store({});
}

std::set<std::string> Callers::Known(const std::set<std::string>& tokens) const {
    std::set<std::string> known;
    std::ranges::copy_if(tokens, std::inserter(known, known.end()),
                         [this](const std::string& hash) { return bearers_.contains(hash); });
    return known;
}

std::shared_ptr<Caller> Callers::MakeCaller(const std::set<std::string>& tokens) const {
    auto caller = std::make_shared<Caller>();
    for (const std::string& hash : tokens)
        if (const auto found = bearers_.find(hash); found != bearers_.end())
            Add(*caller, found->second.token);
    return caller;
}

// Takes from the sessions what their tokens do not give any more. True when something has changed.
bool Callers::EndOutdated() {
    const Time now = now_();
    bool hasChanged = false;
    std::size_t ended = 0;
    for (auto at = sessions_.begin(); at != sessions_.end();) {
        Session& session = at->second;
        std::set<std::string> tokens = session.end > now ? Known(session.tokens) : std::set<std::string>();
        auto caller = MakeCaller(tokens);
        hasChanged = hasChanged || tokens != session.tokens;
        if (!HaveEqualRights(*caller, *session.caller)) {
            session.caller->hasEnded = true;
            session.caller = std::move(caller);
        }
        session.tokens = std::move(tokens);
        if (session.tokens.empty()) ++ended;
        at = session.tokens.empty() ? sessions_.erase(at) : std::next(at);
    }
    if (ended > 0) {
        HostLog::Write(dv::LOG_LEVEL_INFO, kHostName,
                       std::to_string(ended) +
                           " sessions are over: their tokens left the token file, or their time ended");
    }
    return hasChanged;
}

Callers::Found Callers::Identify(const Request& request) {
    if (everybody_) return {everybody_, {}};
    if (request.door == Door::Local) return {local_, {}};
    if (request.authorization) {
        if (auto refusal = RefuseGuesser(request.peer)) return {nullptr, std::move(refusal)};
        const auto token = TokenOf(*request.authorization);
        const auto bearer = token ? bearers_.find(Sha256(*token)) : bearers_.end();
        if (bearer == bearers_.end()) return {nullptr, RefuseWrong(request.peer)};
        return {bearer->second.caller, {}};
    }
    const auto session = FindSession(request);
    if (session == sessions_.end()) return {};
    Renew(session->second);
    return {session->second.caller, {}, true};
}

Callers::SessionTable::iterator Callers::FindSession(const Request& request) {
    const auto id = request.cookie ? FindCookie(*request.cookie, cookieName_) : std::nullopt;
    const auto found = id ? sessions_.find(Sha256(*id)) : sessions_.end();
    return found != sessions_.end() && found->second.end > now_() ? found : sessions_.end();
}

void Callers::Renew(Session& session) {
    const Time end = now_() + kUnusedFor;
    if (end - session.end < kBetweenRenewals) return;
    session.end = end;
    Store({});
}

// The new id makes an old one worthless that somebody else may have planted or seen.
Callers::SignedIn Callers::SignIn(const Request& request, std::string_view token, const Done& done) {
    if (auto refusal = RefuseGuesser(request.peer)) return {nullptr, std::move(refusal), {}};
    const auto bearer = bearers_.find(Sha256(token));
    if (bearer == bearers_.end()) return {nullptr, RefuseWrong(request.peer), {}};
    Session session{{}, now_() + kUnusedFor, std::make_shared<Caller>()};
    if (const auto former = FindSession(request); former != sessions_.end()) {
        session.tokens = std::move(former->second.tokens);
        session.caller = std::move(former->second.caller);
        sessions_.erase(former);
    }
    session.tokens.insert(bearer->first);
    Add(*session.caller, bearer->second.token);
    while (sessions_.size() >= limits_.sessions)
        DropOldest(bearer->first);
    const std::string id = RandomDigits(kIdBytes);
    SignedIn result{session.caller, {}, SetCookie(id, kUnusedFor)};
    sessions_.emplace(Sha256(id), std::move(session));
    Store(done);
    return result;
}

bool Callers::SignOut(const Request& request, const Done& done) {
    const auto session = FindSession(request);
    if (session == sessions_.end()) return false;
    session->second.caller->hasEnded = true;
    sessions_.erase(session);
    Store(done);
    return true;
}

// Of the same token, if there are any: who has one is not to end the sessions of others.
void Callers::DropOldest(const std::string& token) {
    const auto rank = [&token](const auto& entry) {
        return std::pair(!entry.second.tokens.contains(token), entry.second.end);
    };
    const auto oldest = std::ranges::min_element(sessions_, {}, rank);
    oldest->second.caller->hasEnded = true;
    sessions_.erase(oldest);
    HostLog::Write(dv::LOG_LEVEL_INFO, kHostName,
                   "a session that was unused for longest was ended, because there are " +
                       std::to_string(limits_.sessions) + " (--sessions)");
}

std::string Callers::SetCookie(std::string_view id, seconds age) const {
    return "Set-Cookie: " + cookieName_ + "=" + std::string(id) +
           "; HttpOnly; SameSite=Strict; Path=/; Max-Age=" + std::to_string(age.count()) +
           (isTls_ ? "; Secure\r\n" : "\r\n");
}

std::string Callers::KeepCookie(const Request& request) const {
    const auto id = request.cookie ? FindCookie(*request.cookie, cookieName_) : std::nullopt;
    return id && sessions_.contains(Sha256(*id)) ? SetCookie(*id, kUnusedFor) : std::string();
}

std::string Callers::ForgetCookie() const {
    return SetCookie("", seconds(0));
}

void Callers::Store(const Done& done) {
    const auto list = DvXML::CreateXmlNode("sessions", "");
    for (const auto& [id, session] : sessions_) {
        const auto element = DvXML::CreateXmlNode("session", "");
        element->NodeAddNamedValue("id", id);
        for (const std::string& token : session.tokens)
            element->NodeAddNamedValue("token", token);
        element->NodeAddNamedValue("end", std::to_string(system_clock::to_time_t(session.end)));
        list->NodeAddChild(element.get());
    }
    const auto document = std::make_shared<const std::string>(list->NodeToText());
    store_.Write(kFolder, document, [done](const StoreResult& result) {
        if (!result.error.empty())
            HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                           "the sessions could not be stored: " + result.error);
        if (done) done(result.error);
    });
}

// Right tokens are refused as well, or the answer would tell whoever guesses that one was right.
std::optional<Response> Callers::RefuseGuesser(std::string_view peer) {
    const auto found = wrong_.find(peer);
    if (found == wrong_.end()) return std::nullopt;
    const Time now = now_();
    const Time end = found->second.since + limits_.wrongTokenTime;
    if (now >= end || now < found->second.since) {
        wrong_.erase(found);
        return std::nullopt;
    }
    if (found->second.count < limits_.wrongTokens) return std::nullopt;
    const auto wait = std::chrono::ceil<seconds>(end - now).count();
    Response response = ErrorResponse(
        429, "too many wrong tokens came from this address; try again in " + std::to_string(wait) + " s");
    response.headers = "Retry-After: " + std::to_string(wait) + "\r\n";
    return response;
}

Response Callers::RefuseWrong(std::string_view peer) {
    if (wrong_.size() >= kAddresses && !wrong_.contains(peer))
        wrong_.erase(
            std::ranges::min_element(wrong_, {}, [](const auto& entry) { return entry.second.since; }));
    Wrong& wrong = wrong_[std::string(peer)];
    if (wrong.count == 0) wrong.since = now_();
    if (++wrong.count == limits_.wrongTokens) {
        HostLog::Write(
            dv::LOG_LEVEL_ERROR, kHostName,
            "too many wrong tokens from " + std::string(peer) + "; no token is taken from there for now");
    }
    return Unauthorized("the token is wrong; the host's token file has those that are right");
}

}  // namespace driverhost
