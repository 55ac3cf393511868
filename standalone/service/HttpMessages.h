// A request and its answer between the connection, which knows sockets, and the service, which does not.
#ifndef PIS_SERVICE_HTTPMESSAGES_H
#define PIS_SERVICE_HTTPMESSAGES_H

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/ChangeFilter.h"
#include "service/RowDocument.h"
#include "service/TextAccount.h"

namespace pis::service {

/// What the service reads of a request. Header values are as they came; empty where one is missing.
struct HttpRequest {
    std::string method;
    std::string target;
    std::optional<std::string> host;  ///< As a trusted proxy says, else the only `Host`.
    bool hostIsProxys = false;        ///< A proxy's name for this service: the browser came by one that is not known.
    bool mayLackHost = false;         ///< It is as old as HTTP/1.0 and names none.
    std::optional<std::string> origin;
    std::string fetchSite;  ///< `Sec-Fetch-Site`, which pages cannot set.
    std::string ifNoneMatch;
    std::string acceptEncoding;
    bool takesChunks = true;  ///< Not where the client speaks HTTP/1.0.
    std::string lastEventId;
    bool fromLoopback = false;   ///< And not handed on by a proxy.
    bool isForOperator = false;  ///< Asks how the service is.
    bool isOwnProbe = false;     ///< One of this machine's own asks how the service is.
};

/// What goes back, but for the headers that every answer bears.
struct HttpAnswer {
    int status = 200;
    std::string route;  ///< The path as the API describes it, for the metrics: "/api/v1/lines/{id}".
    std::string type = "application/json";
    SharedText body;                              ///< Null for none.
    std::shared_ptr<const RowDocument> document;  ///< In place of a body; compressed, it goes out in chunks.
    std::string etag;                             ///< With its quotes; empty for none.
    bool gzip = false;                            ///< The body is compressed.
    bool varies = false;                          ///< It would be another one without Accept-Encoding.
    std::string cacheControl = "no-cache";
    std::vector<std::pair<std::string, std::string>> headers;

    /// Set where the answer is a stream of changes: what it shows, and the revision that the reader
    /// knows already.
    struct Stream {
        ChangeFilter filter;
        std::optional<picture::Revision> knows;
    };
    std::optional<Stream> stream;
};

}  // namespace pis::service

#endif
