// Tokens and sessions on the routes: who is known, how browsers sign in, and what ends that.
#include "driverhost/http/rights/Callers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "driverhost/runtime/Digest.h"
#include "tests/driverhost/support/HostFixture.h"

namespace driverhost {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

const std::string kOrigin = "http://localhost";

Token TokenFor(const std::string& text, Role role, const std::string& tablet = "") {
    return {Sha256(text), role, tablet, 1};
}

class CallersTest : public HostFixture {
protected:
    CallersTest() {
        tokens_ = {TokenFor("master", ROLE_ADMIN), TokenFor("family", ROLE_HOUSEHOLD),
                   TokenFor("cook", ROLE_TABLET, "kitchen"), TokenFor("read", ROLE_TABLET, "study")};
        home_.drivers.push_back(
            {7, "agent", "intercom_agent", std::string(TEST_PLUGINS) + "/probe.so", "<config/>"});
        for (const char* name : {"kitchen", "study"})
            Add(name, "probe", "<config><readers>yes</readers></config>");
        Add("lamp", "probe");
    }

    /// Whatever a test says of a request; what is empty is not sent.
    struct Sent {
        std::string method;
        std::string target;
        std::string form = "";
        std::string token = "";
        std::string cookie = "";
        std::string origin = "";
        std::string peer = "192.168.1.20";
    };

    Response Send(const Sent& sent) {
        Request request = MakeRequest(sent.method, sent.target, sent.form);
        const std::string authorization = "Bearer " + sent.token;
        if (!sent.token.empty()) request.authorization = authorization;
        if (!sent.cookie.empty()) request.cookie = sent.cookie;
        if (!sent.origin.empty()) request.origin = sent.origin;
        request.peer = sent.peer;
        return Ask(request);
    }

    Response With(const std::string& token, const std::string& method, const std::string& target,
                  const std::string& form = "") {
        return Send({.method = method, .target = target, .form = form, .token = token});
    }

    /// The cookie of a new session, "intercom=ID".
    std::string SignIn(const std::string& token, const std::string& cookie = "") {
        return CookieOf(Send({"POST", "/session", "token=" + token, "", cookie, kOrigin}));
    }

    static std::string CookieOf(const Response& response) {
        const std::string start = "Set-Cookie: ";
        EXPECT_THAT(response.headers, testing::StartsWith(start)) << response.status << response.body;
        return response.headers.substr(start.size(), response.headers.find(';') - start.size());
    }

    /// What a session may, in the host's words; the status when it may nothing.
    std::string SessionOf(const std::string& cookie) {
        const Response response = Send({.method = "GET", .target = "/session", .cookie = cookie});
        return response.status == 200 ? response.body : std::to_string(response.status);
    }

    /// Another process with what this one has stored.
    void StartAgain() {
        table_->StopAll();
        callers_.emplace(tokens_, store_, limits_, false, [this] { return now_; });
        callers_->Load();
    }
};

TEST_F(CallersTest, WithoutTokensEverybodyIsAdmin) {
    tokens_.clear();
    Start();
    EXPECT_EQ(Send({"GET", "/session"}).body, "<session role=\"admin\" open=\"true\"/>");
    EXPECT_EQ(Send({"POST", "/session", "token=old"}).body, "<session role=\"admin\" open=\"true\"/>");
    EXPECT_EQ(Send({"POST", "/drivers/lamp/commands/count"}).status, 200U);
}

TEST_F(CallersTest, EachTokenHasItsRole) {
    Start();
    EXPECT_EQ(With("master", "GET", "/session").body, "<session role=\"admin\"/>");
    EXPECT_EQ(With("family", "GET", "/session").body, "<session role=\"household\"/>");
    EXPECT_EQ(With("cook", "GET", "/session").body,
              "<session role=\"tablet\"><tablet name=\"kitchen\"/></session>");
    EXPECT_EQ(With("master", "GET", "/drivers").status, 200U);
    EXPECT_EQ(With("family", "GET", "/drivers").body,
              "<error>the role household may not do this; admin may</error>");
}

TEST_F(CallersTest, WhoShowsNothingHasToSignIn) {
    Start();
    for (const char* target :
         {"/drivers", "/events", "/health", "/metrics", "/session", "/drivers/agent/state"}) {
        const Response response = Send({"GET", target});
        EXPECT_EQ(response.status, 401U) << target;
        EXPECT_EQ(response.headers, "WWW-Authenticate: Bearer\r\n");
    }
    EXPECT_EQ(Send({"DELETE", "/drivers"}).status, 401U) << "nor does anybody learn what there is";
    EXPECT_EQ(Send({"GET", "/nothing"}).status, 404U);
}

TEST_F(CallersTest, AWrongTokenIsRefusedWhateverElseIsShown) {
    Start();
    const std::string cookie = SignIn("master");
    for (const char* token : {"maste", "master2", "Master", " master"})
        EXPECT_EQ(Send({.method = "GET", .target = "/drivers", .token = token, .cookie = cookie}).status,
                  401U);
    Request request = MakeRequest("GET", "/drivers");
    request.authorization = "Basic master";
    EXPECT_EQ(Ask(request).status, 401U);
    request.authorization = "bearer master";
    EXPECT_EQ(Ask(request).status, 200U);
}

TEST_F(CallersTest, ATabletHasItsOwnDriverAndNoOther) {
    Start();
    EXPECT_EQ(With("cook", "POST", "/drivers/kitchen/commands/count").status, 200U);
    EXPECT_EQ(With("cook", "POST", "/drivers/2/commands/count").status, 200U) << "by its id";
    EXPECT_EQ(With("cook", "GET", "/tablets/kitchen/events").status, 200U);
    for (const char* name : {"study", "3", "lamp", "agent", "nobody", "Kitchen", "kitchen%20"}) {
        EXPECT_EQ(With("cook", "POST", "/drivers/" + std::string(name) + "/commands/count").status, 403U)
            << name;
        EXPECT_EQ(With("cook", "GET", "/tablets/" + std::string(name) + "/events").status, 403U) << name;
    }
}

TEST_F(CallersTest, ANameInTheTokenFileMakesNoTabletOfAnotherDriver) {
    tokens_.push_back(TokenFor("sly", ROLE_TABLET, "agent"));
    tokens_.push_back(TokenFor("dim", ROLE_TABLET, "lamp"));
    tokens_.push_back(TokenFor("gone", ROLE_TABLET, "attic"));
    Start();
    EXPECT_EQ(With("sly", "POST", "/drivers/agent/commands/set", "value=x").status, 403U);
    EXPECT_EQ(With("dim", "POST", "/drivers/lamp/commands/set", "value=x").status, 403U);
    EXPECT_EQ(With("gone", "POST", "/drivers/attic/commands/count").status, 404U)
        << "its own, which is not there";
}

TEST_F(CallersTest, ATabletNamesItselfOnceAndExactly) {
    Start();
    const auto call = [this](const std::string& form) {
        return With("cook", "POST", "/drivers/agent/commands/SIP_REGULAR_CALL", form).status;
    };
    EXPECT_EQ(call("source=2&destination=3"), 404U) << "granted; the probe has no such command";
    for (const char* form :
         {"", "destination=3", "source=3", "source=2&source=3", "source=3&source=2", "source=2&source=2",
          "source=02", "source=%202", "source=2x", "source=", "Source=2", "source=kitchen"})
        EXPECT_EQ(call(form), 403U) << form;
    EXPECT_EQ(With("family", "POST", "/drivers/agent/commands/SIP_REGULAR_CALL", "source=3").status, 404U);
}

TEST_F(CallersTest, ASessionMayWhatItsTokenMay) {
    Start();
    const Response response = Send({"POST", "/session", "token=cook", "", "", kOrigin});
    EXPECT_EQ(response.body, "<session role=\"tablet\"><tablet name=\"kitchen\"/></session>");
    EXPECT_THAT(
        response.headers,
        MatchesRegex(
            "Set-Cookie: intercom=[0-9a-f]+; HttpOnly; SameSite=Strict; Path=/; Max-Age=34560000\r\n"));
    const std::string cookie = CookieOf(response);
    EXPECT_EQ(cookie.size(), sizeof("intercom=") - 1 + 64);
    EXPECT_EQ(SessionOf(cookie), response.body);
    EXPECT_EQ(SessionOf("theme=dark; " + cookie + "; x=y"), response.body);
    EXPECT_EQ(SessionOf("x" + cookie), "401");
}

TEST_F(CallersTest, WithTlsTheCookieIsForTlsAndThisHostOnly) {
    Start();
    Callers callers(tokens_, store_, limits_, true);
    Request request = MakeRequest("POST", "/session");
    const auto signedIn = callers.SignIn(request, "cook", {});
    EXPECT_THAT(signedIn.setCookie,
                MatchesRegex("Set-Cookie: __Host-intercom=[0-9a-f]+; HttpOnly; SameSite=Strict; "
                             "Path=/; Max-Age=34560000; Secure\r\n"));
    const std::string id = signedIn.setCookie.substr(signedIn.setCookie.find('=') + 1, 64);
    const std::string plain = "intercom=" + id;
    const std::string secure = "__Host-intercom=" + id;
    request.cookie = plain;
    EXPECT_FALSE(callers.Identify(request).caller) << "such a cookie can be planted by a page without TLS";
    request.cookie = secure;
    EXPECT_TRUE(callers.Identify(request).caller);
}

TEST_F(CallersTest, AnIdThatTheHostHasNotGivenIsNeverTaken) {
    Start();
    for (const std::string& forged :
         {std::string("intercom="), "intercom=" + std::string(64, '0'), std::string("intercom=kitchen"),
          "intercom=" + Sha256("cook"), std::string("intercom")})
        EXPECT_EQ(SessionOf(forged), "401") << forged;
    const std::string planted = "intercom=" + std::string(64, 'a');
    EXPECT_NE(SignIn("master", planted), planted);
    EXPECT_EQ(SessionOf(planted), "401");
}

TEST_F(CallersTest, WhoSignsInAgainGetsANewIdAndBothRights) {
    Start();
    const std::string first = SignIn("cook");
    const std::string second = SignIn("read", first);
    EXPECT_NE(first, second);
    EXPECT_EQ(SessionOf(first), "401") << "whoever knew it has nothing of what was added";
    EXPECT_EQ(SessionOf(second),
              "<session role=\"tablet\"><tablet name=\"kitchen\"/><tablet name=\"study\"/></session>");
    EXPECT_THAT(SessionOf(SignIn("family", second)), HasSubstr("role=\"household\""));
}

TEST_F(CallersTest, OfTwoCookiesNoneCounts) {
    Start();
    const std::string mine = SignIn("master");
    const std::string planted = SignIn("cook");
    EXPECT_EQ(SessionOf(mine + "; " + planted), "401");
    EXPECT_EQ(SessionOf(mine + "; intercom=x"), "401");
}

TEST_F(CallersTest, ASessionChangesThingsFromTheHostsOwnPagesOnly) {
    Start();
    const std::string cookie = SignIn("master");
    const auto statusFor = [&](const std::string& method, const std::string& target,
                               const std::string& origin) {
        return Send({.method = method, .target = target, .cookie = cookie, .origin = origin}).status;
    };
    const std::string count = "/drivers/lamp/commands/count";
    EXPECT_EQ(statusFor("POST", count, kOrigin), 200U);
    for (const char* origin :
         {"", "null", "http://evil.example", "http://localhost:81", "https://localhost"}) {
        EXPECT_EQ(statusFor("POST", count, origin), 403U) << origin;
        EXPECT_EQ(statusFor("POST", "/session", origin), 403U) << origin;
        EXPECT_EQ(statusFor("DELETE", "/session", origin), 403U) << origin;
        EXPECT_EQ(statusFor("PUT", "/drivers/lamp/state", origin), 403U) << origin;
    }
    EXPECT_EQ(statusFor("GET", "/drivers", ""), 200U) << "reading changes nothing";
    EXPECT_EQ(statusFor("GET", "/drivers", "http://evil.example"), 403U);
    EXPECT_EQ(With("master", "POST", count).status, 200U) << "a token needs no page";
}

TEST_F(CallersTest, SigningInTakesATokenFromOwnPagesAndPrograms) {
    Start();
    EXPECT_EQ(Send({"POST", "/session", "token=cook"}).status, 200U);
    EXPECT_EQ(Send({"POST", "/session", "token=cook", "", "", "http://evil.example"}).status, 403U);
    EXPECT_EQ(Send({"POST", "/session", "token=wrong", "", "", kOrigin}).status, 401U);
    for (const char* form : {"", "Token=cook", "token=cook&token=cook", "token=cook&name=x"})
        EXPECT_EQ(Send({"POST", "/session", form}).status, 400U) << form;
    EXPECT_EQ(Send({"POST", "/session?token=cook"}).status, 400U);
}

TEST_F(CallersTest, AfterTenWrongTokensAnAddressWaits) {
    Start();
    const std::string cookie = SignIn("cook");
    for (int guess = 0; guess < 5; ++guess) {
        EXPECT_EQ(Send({"POST", "/session", "token=guess"}).status, 401U);
        EXPECT_EQ(With("guess", "GET", "/session").status, 401U);
    }
    now_ += 20s;
    const Response refused = Send({"POST", "/session", "token=cook"});
    EXPECT_EQ(refused.status, 429U) << "a right one would be told from a wrong one";
    EXPECT_EQ(refused.headers, "Retry-After: 40\r\n");
    EXPECT_EQ(With("master", "GET", "/drivers").status, 429U);
    EXPECT_NE(SessionOf(cookie), "429") << "sessions go on";
    EXPECT_EQ(
        Send({.method = "POST", .target = "/session", .form = "token=cook", .peer = "192.168.1.21"}).status,
        200U);
    now_ += 40s;
    EXPECT_EQ(Send({"POST", "/session", "token=cook"}).status, 200U);
}

TEST_F(CallersTest, AForeignPageCannotUseUpTheTriesOfItsBrowser) {
    Start();
    for (int guess = 0; guess < 20; ++guess)
        EXPECT_EQ(Send({"POST", "/session", "token=guess", "", "", "http://evil.example"}).status, 403U);
    EXPECT_EQ(Send({"POST", "/session", "token=cook", "", "", kOrigin}).status, 200U);
}

TEST_F(CallersTest, ASessionThatIsEndedIsGone) {
    Start();
    const std::string cookie = SignIn("cook");
    const Response ended =
        Send({.method = "DELETE", .target = "/session", .cookie = cookie, .origin = kOrigin});
    EXPECT_EQ(ended.status, 204U);
    EXPECT_EQ(ended.headers, "Set-Cookie: intercom=; HttpOnly; SameSite=Strict; Path=/; Max-Age=0\r\n");
    EXPECT_EQ(SessionOf(cookie), "401");
    EXPECT_EQ(With("cook", "DELETE", "/session").status, 400U) << "a token has no session";
}

TEST_F(CallersTest, SessionsLiveAcrossAStart) {
    Start();
    const std::string cookie = SignIn("read", SignIn("cook"));
    StartAgain();
    EXPECT_EQ(SessionOf(cookie),
              "<session role=\"tablet\"><tablet name=\"kitchen\"/><tablet name=\"study\"/></session>");
}

TEST_F(CallersTest, WhatIsStoredOpensNothing) {
    Start();
    const std::string id = SignIn("cook").substr(sizeof("intercom=") - 1);
    const std::string stored = StoredState(".sessions");
    EXPECT_THAT(stored, HasSubstr("<id>" + Sha256(id) + "</id><token>" + Sha256("cook") + "</token><end>"));
    EXPECT_THAT(stored, Not(HasSubstr(id)));
    EXPECT_THAT(stored, Not(HasSubstr("cook")));
}

TEST_F(CallersTest, AnEndedSessionStaysEndedAcrossAStart) {
    Start();
    const std::string cookie = SignIn("cook");
    Send({.method = "DELETE", .target = "/session", .cookie = cookie, .origin = kOrigin});
    StartAgain();
    EXPECT_EQ(SessionOf(cookie), "401");
}

TEST_F(CallersTest, AnAnswerThatCannotBeStoredSaysSo) {
    Start();
    disk_.FailAll(true);
    const Response response = Send({"POST", "/session", "token=cook"});
    disk_.FailAll(false);
    EXPECT_EQ(response.status, 503U);
    EXPECT_THAT(response.body, HasSubstr("done, but not stored"));
    EXPECT_NE(SessionOf(CookieOf(response)), "401") << "it lives as long as the process";
}

TEST_F(CallersTest, ASessionEndsFourHundredDaysAfterItsLastUse) {
    Start();
    const std::string cookie = SignIn("cook");
    now_ += 24h * 399;
    EXPECT_NE(SessionOf(cookie), "401");
    now_ += 24h * 399;
    StartAgain();
    EXPECT_NE(SessionOf(cookie), "401") << "the use between was stored";
    now_ += 24h * 401;
    EXPECT_EQ(SessionOf(cookie), "401");
}

TEST_F(CallersTest, TheBrowserIsToldToKeepTheCookie) {
    Start();
    const std::string cookie = SignIn("cook");
    const Response told = Send({.method = "GET", .target = "/session", .cookie = cookie});
    EXPECT_EQ(CookieOf(told), cookie);
    EXPECT_EQ(With("cook", "GET", "/session").headers, "");
}

TEST_F(CallersTest, ATokenThatIsTakenOutEndsWhatItGave) {
    Start();
    const std::string one = SignIn("cook");
    const std::string both = SignIn("read", SignIn("cook"));
    const std::string other = SignIn("family");
    std::erase_if(tokens_, [](const Token& token) { return token.tablet == "kitchen"; });
    callers_->UseTokens(tokens_);
    EXPECT_EQ(With("cook", "GET", "/session").status, 401U);
    EXPECT_EQ(SessionOf(one), "401");
    EXPECT_EQ(SessionOf(both), "<session role=\"tablet\"><tablet name=\"study\"/></session>");
    EXPECT_EQ(SessionOf(other), "<session role=\"household\"/>");
    tokens_.push_back(TokenFor("cook", ROLE_TABLET, "kitchen"));
    callers_->UseTokens(tokens_);
    EXPECT_EQ(SessionOf(one), "401") << "it does not come back";
}

TEST_F(CallersTest, ATokenThatIsGoneAtTheStartHasNoSessions) {
    Start();
    const std::string cookie = SignIn("cook");
    tokens_.erase(tokens_.begin() + 2);
    StartAgain();
    EXPECT_EQ(SessionOf(cookie), "401");
}

TEST_F(CallersTest, ATokenWithAnotherRoleChangesItsSessions) {
    Start();
    const std::string cookie = SignIn("master");
    tokens_[0].role = ROLE_HOUSEHOLD;
    callers_->UseTokens(tokens_);
    EXPECT_EQ(SessionOf(cookie), "<session role=\"household\"/>");
}

TEST_F(CallersTest, WhoHasFewerRightsNowHasEndedAndNobodyElse) {
    Start();
    const auto callerOf = [this](const std::string& cookie, const std::string& authorization) {
        Request request = MakeRequest("GET", "/events");
        if (!cookie.empty()) request.cookie = cookie;
        if (!authorization.empty()) request.authorization = authorization;
        return callers_->Identify(request).caller;
    };
    const std::string cookie = SignIn("cook");
    const CallerPtr session = callerOf(cookie, "");
    const CallerPtr token = callerOf("", "Bearer cook");
    const CallerPtr other = callerOf("", "Bearer family");
    SignIn("read", cookie);
    EXPECT_FALSE(session->hasEnded) << "more rights end no stream";
    std::erase_if(tokens_, [](const Token& given) { return given.tablet == "kitchen"; });
    callers_->UseTokens(tokens_);
    EXPECT_TRUE(session->hasEnded);
    EXPECT_TRUE(token->hasEnded);
    EXPECT_FALSE(other->hasEnded);
}

TEST_F(CallersTest, ARequestWhoseSessionEndsWhileItsBodyComesIsRefused) {
    Start();
    Request request = MakeRequest("POST", "/drivers/lamp/commands/count");
    request.authorization = "Bearer master";
    request.caller = routes_->Admit(request).caller;
    tokens_.erase(tokens_.begin());
    callers_->UseTokens(tokens_);
    unsigned int status = 0;
    routes_->Answer(request, [&](const Response& response) { status = response.status; });
    EXPECT_EQ(status, 401U);
}

TEST_F(CallersTest, BeyondTheirNumberTheLongestUnusedSessionEnds) {
    limits_.sessions = 2;
    Start();
    const std::string first = SignIn("cook");
    now_ += 48h;
    const std::string second = SignIn("read");
    now_ += 1h;
    EXPECT_NE(SessionOf(first), "401") << "used, so it is not the oldest any more";
    const std::string third = SignIn("family");
    EXPECT_EQ(SessionOf(second), "401");
    EXPECT_NE(SessionOf(first), "401");
    EXPECT_NE(SessionOf(third), "401");
}

TEST_F(CallersTest, WhoSignsInAgainAndAgainEndsNobodyElsesSession) {
    limits_.sessions = 3;
    Start();
    const std::string other = SignIn("family");
    for (int time = 0; time < 5; ++time) {
        now_ += 1h;
        SignIn("cook");
    }
    EXPECT_EQ(SessionOf(other), "<session role=\"household\"/>");
}

TEST_F(CallersTest, StrangersSendSmallBodiesOnly) {
    Start();
    Request request = MakeRequest("POST", "/session");
    EXPECT_EQ(routes_->Admit(request).bodyLimit, 16U * 1024);
    request.authorization = "Bearer family";
    EXPECT_EQ(routes_->Admit(request).bodyLimit, limits_.bodyBytes);
}

TEST_F(CallersTest, AHostThatIsOpenTakesNoCookieForWrong) {
    tokens_.clear();
    Start();
    EXPECT_EQ(
        Send({.method = "POST", .target = "/drivers/lamp/commands/count", .cookie = "intercom=old"}).status,
        200U);
}

}  // namespace
}  // namespace driverhost
