#pragma once

#include <tools/local/server/PartSink.h>
#include <tools/local/server/PathPattern.h>
#include <tools/local/server/Response.h>
#include <tools/local/server/WebSocket.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local {

// Chooses the handler of a request: the first route, in the order they were
// added, whose method and path pattern match. Services register their routes
// side by side (each under its own path prefix), and tests may add routes to
// a running server, so the table is guarded by a lock.
class Router {
public:
    // `method` is compared exactly ("GET"); "*" matches every method, and a
    // GET route serves HEAD too.
    void add(std::string method, std::string_view pattern, Handler handler);

    // The handler of the first matching route, with the route's path
    // parameters stored in `request.params`. Without a match, a handler
    // answering 405 with Allow when the path matches routes of other
    // methods, otherwise 404. Resolving before running lets the server log
    // the request, parameters included, before the handler takes its time.
    Handler resolve(RecordedRequest& request) const;

    // WebSocket routes are a table of their own, looked at first for GET
    // requests only: other methods on their paths go to the HTTP routes.
    void addWebSocket(std::string_view pattern, WebSocketHandler handler);
    // The handler of the first WebSocket route matching a GET, with its path
    // parameters stored in `request.params`; null when none matches.
    std::shared_ptr<const WebSocketHandler> resolveWebSocket(RecordedRequest& request) const;

    // Parts of multipart requests for `method` and `pattern` may go to the
    // sinks that `factory` chooses (see PartSink).
    void addPartSinks(std::string method, std::string_view pattern, PartSinkFactory factory);
    // The factory for a request whose head just arrived, with the pattern's
    // parameters stored in `head.params`; nullptr for none.
    PartSinkFactory partSinksFor(RecordedRequest& head) const;

    // Runs `handler`; one that throws gives 500 with the exception's message.
    static Response run(const Handler& handler, const RecordedRequest& request);

private:
    struct Route {
        std::string method;
        PathPattern pattern;
        Handler handler;
    };

    struct WebSocketRoute {
        PathPattern pattern;
        std::shared_ptr<const WebSocketHandler> handler;
    };

    struct SinkRoute {
        std::string method;
        PathPattern pattern;
        PartSinkFactory factory;
    };

    mutable std::mutex m_mutex;
    std::vector<Route> m_routes;
    std::vector<WebSocketRoute> m_webSocketRoutes;
    std::vector<SinkRoute> m_sinkRoutes;
};

} // namespace lithmar::local
