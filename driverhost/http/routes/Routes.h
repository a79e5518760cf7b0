// The paths of the HTTP interface and the operations behind them.
#ifndef DRIVERHOST_HTTP_ROUTES_ROUTES_H
#define DRIVERHOST_HTTP_ROUTES_ROUTES_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "driverhost/http/FormData.h"
#include "driverhost/http/Message.h"
#include "driverhost/http/Trust.h"
#include "driverhost/http/rights/Callers.h"
#include "driverhost/http/rights/Rights.h"
#include "driverhost/http/routes/EventStream.h"
#include "driverhost/http/server/TlsCertificate.h"
#include "driverhost/http/web/WebPages.h"
#include "driverhost/plugins/DriverTable.h"
#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/ProgramReports.h"
#include "driverhost/settings/Limits.h"

namespace driverhost {

/// What the routes work on. Not owned.
struct Served {
    DriverTable& drivers;
    StateKeeper& keeper;
    EventStream& events;
    Metrics& metrics;
    ProgramReports& reports;
    const Trust& trust;
    Callers& callers;
    const Limits& limits;
    const WebPages& pages;
    const TlsCertificate& certificate;
    std::function<Gauges()> gauges;
    std::function<unsigned short()> port = {};  // of the address that speaks TLS
};

/// All operations: [driver thread]
class Routes {
public:
    explicit Routes(Served served);

    /// Decides about a request whose head is complete: refuses it, or says who sends it and how large its
    /// body may be.
    struct Admission {
        std::optional<Response> refusal;
        std::size_t bodyLimit;
        CallerPtr caller = {};
    };
    Admission Admit(const Request& head) const;

    /// Carries out an admitted request, whose caller is set. Replies at once, or when what the request
    /// changed is on disk.
    void Answer(const Request& request, const Reply& reply);

    /// A method and a path, in which "*" is any text.
    struct Place {
        std::string_view method;
        std::string_view path;
    };
    /// All that the table has.
    static std::vector<Place> Places();

private:
    using Path = std::vector<std::string>;
    using Handler = void (Routes::*)(const Request&, const Path&, const Reply&);
    struct Route {
        Route(std::string_view method, std::string_view path, Handler handler, bool onlyLocal = false);

        Place place;
        std::vector<std::string_view> pattern;  // the parts of its path
        Handler handler;
        bool onlyLocal;  // on the network there is no such path
    };
    struct Match {
        const Route* route = nullptr;
        std::string methods;  // that the path takes when this one is none of them; empty: no such path
    };
    static const std::vector<Route>& Table();
    static Match Find(const Request& request, const Path& path);

    std::optional<Response> RefuseDeed(const Request& head, const Caller* caller) const;
    Deed DeedOf(const Place& place, const Path& path, const Caller* caller) const;
    Fault ForeignDevice(std::string_view parameter, const Form& form, const Caller& caller) const;

    Response AnswerPlain(const Request& request) const;
    Response FindPage(const Request& request, const Path& path) const;

    void RunCommand(const Request& request, const Path& path, const Reply& reply);
    void ListDrivers(const Request& request, const Path& path, const Reply& reply);
    void ListCommands(const Request& request, const Path& path, const Reply& reply);
    void GetState(const Request& request, const Path& path, const Reply& reply);
    void PutState(const Request& request, const Path& path, const Reply& reply);
    void ListGenerations(const Request& request, const Path& path, const Reply& reply);
    void GetGeneration(const Request& request, const Path& path, const Reply& reply);
    void Restart(const Request& request, const Path& path, const Reply& reply);
    void DeliverSystemEvent(const Request& request, const Path& path, const Reply& reply);
    void FollowEvents(const Request& request, const Path& path, const Reply& reply);
    void FollowDriver(const Request& request, const Path& path, const Reply& reply);
    void ReportHealth(const Request& request, const Path& path, const Reply& reply);
    void ReportMetrics(const Request& request, const Path& path, const Reply& reply);
    void ListSipAccounts(const Request& request, const Path& path, const Reply& reply);
    void SignIn(const Request& request, const Path& path, const Reply& reply);
    void TellSession(const Request& request, const Path& path, const Reply& reply);
    void SignOut(const Request& request, const Path& path, const Reply& reply);

    Driver* FindDriver(const std::string& nameOrId, const Reply& reply);
    Driver* FindRunning(const std::string& nameOrId, const Reply& reply);
    void ReplyRestarted(const Driver& driver, const RestartResult& result, const Reply& reply);
    void ReplyStored(Response response, const Reply& reply);

    Served served_;
};

}  // namespace driverhost

#endif
