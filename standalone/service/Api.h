// The resources of the service: a request comes in, an answer made of the latest picture goes out. Knows
// no sockets.
#ifndef PIS_SERVICE_API_H
#define PIS_SERVICE_API_H

#include <array>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "picture/PublishedPicture.h"
#include "picture/ServiceClock.h"
#include "service/BodyCache.h"
#include "service/DepartureCache.h"
#include "service/FeedReport.h"
#include "service/HttpMessages.h"
#include "service/RequestTarget.h"
#include "service/RevisionToken.h"

namespace pis::service {

struct ApiOptions {
    std::set<std::string> hosts;  ///< Names and addresses, without port, that a `Host` may bear.
    bool openMetrics = false;     ///< Metrics for everybody, not for this machine alone.
};

/// [Threading] For one thread.
class Api {
public:
    struct Surroundings {
        const picture::PublishedPicture& published;
        const picture::ServiceClock& clock;
        const FeedReport& report;
        const RevisionTokens& tokens;
        std::function<std::string()> metrics;  ///< In the text format of Prometheus.
        std::function<feed::IntakeCounts()> counts;
        std::function<base::WallTime()> wallClock;
        TextAccount& account;
    };

    Api(Surroundings surroundings, ApiOptions options);

    /// Never throws for what a client asks; what goes wrong is a problem document.
    HttpAnswer answer(const HttpRequest& request) const;

    const DepartureCache& departureCache() const { return _departures; }

private:
    using Handler = HttpAnswer (Api::*)(const HttpRequest&, const RequestTarget&) const;
    struct Route {
        std::string path;  ///< With "{id}" for any number.
        Handler handler;
        std::vector<std::string> segments;
    };

    void addRoute(const std::string& path, Handler handler);
    const Route* routeOf(const RequestTarget& target) const;
    HttpAnswer routed(const HttpRequest& request, std::string& route) const;
    void checkSender(const HttpRequest& request) const;

    HttpAnswer table(const HttpRequest& request, const RequestTarget& target) const;
    HttpAnswer largeTable(const HttpRequest& request, const std::shared_ptr<const picture::Picture>& picture,
                          records::Table table) const;
    HttpAnswer record(const HttpRequest& request, const RequestTarget& target) const;
    HttpAnswer stationDepartures(const HttpRequest& request, const RequestTarget& target) const;
    HttpAnswer platformDepartures(const HttpRequest& request, const RequestTarget& target) const;
    HttpAnswer boards(const HttpRequest& request, const RequestTarget& target) const;
    HttpAnswer changes(const HttpRequest& request, const RequestTarget& target) const;
    HttpAnswer status(const HttpRequest& request, const RequestTarget& target) const;
    HttpAnswer alive(const HttpRequest& request, const RequestTarget& target) const;
    HttpAnswer ready(const HttpRequest& request, const RequestTarget& target) const;
    HttpAnswer metrics(const HttpRequest& request, const RequestTarget& target) const;
    HttpAnswer page(const HttpRequest& request, const RequestTarget& target) const;

    HttpAnswer statusOf(const picture::Picture& picture) const;
    HttpAnswer changedSince(const HttpRequest& request, const picture::Picture& picture, records::Table table,
                            const std::string& token) const;
    HttpAnswer departures(const HttpRequest& request, const RequestTarget& target, bool ofStation) const;
    HttpAnswer answerWith(const HttpRequest& request, AnswerBody& body) const;
    int knownStation(const picture::Picture& picture, const RequestTarget& target) const;

    Surroundings _around;
    ApiOptions _options;
    mutable BodyCache _bodies;
    mutable std::array<std::weak_ptr<const RowDocument>, records::kTables> _documents;  // of large tables, being read
    mutable DepartureCache _departures{_bodies};
    std::vector<Route> _routes;
};

}  // namespace pis::service

#endif
