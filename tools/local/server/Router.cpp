#include <tools/local/server/Router.h>

#include <exception>

namespace lithmar::local {

void Router::add(std::string method, std::string_view pattern, Handler handler)
{
    Route route{std::move(method), PathPattern(pattern), std::move(handler)};
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_routes.push_back(std::move(route));
}

Handler Router::resolve(RecordedRequest& request) const
{
    std::string allowed;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const Route& route : m_routes) {
            auto params = route.pattern.match(request.path);
            if (!params) {
                continue;
            }
            // HEAD is a GET without body (the server leaves the body out).
            const bool serves = route.method == "*" || route.method == request.method ||
                                (request.method == "HEAD" && route.method == "GET");
            if (serves) {
                request.params = std::move(*params);
                return route.handler;
            }
            allowed += (allowed.empty() ? "" : ", ") + route.method;
        }
    }
    if (!allowed.empty()) {
        return [allowed](const RecordedRequest& unserved) {
            Response response =
                Response::error(405, "method " + unserved.method + " is not served for " + unserved.path);
            response.headers.push_back({"Allow", allowed});
            return response;
        };
    }
    return [](const RecordedRequest& unserved) {
        return Response::error(404, "no route for " + unserved.method + " " + unserved.path);
    };
}

void Router::addWebSocket(std::string_view pattern, WebSocketHandler handler)
{
    WebSocketRoute route{PathPattern(pattern), std::make_shared<const WebSocketHandler>(std::move(handler))};
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_webSocketRoutes.push_back(std::move(route));
}

std::shared_ptr<const WebSocketHandler> Router::resolveWebSocket(RecordedRequest& request) const
{
    if (request.method != "GET") {
        return nullptr;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const WebSocketRoute& route : m_webSocketRoutes) {
        if (auto params = route.pattern.match(request.path)) {
            request.params = std::move(*params);
            return route.handler;
        }
    }
    return nullptr;
}

void Router::addPartSinks(std::string method, std::string_view pattern, PartSinkFactory factory)
{
    SinkRoute route{std::move(method), PathPattern(pattern), std::move(factory)};
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sinkRoutes.push_back(std::move(route));
}

PartSinkFactory Router::partSinksFor(RecordedRequest& head) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const SinkRoute& route : m_sinkRoutes) {
        if (route.method != "*" && route.method != head.method) {
            continue;
        }
        if (auto params = route.pattern.match(head.path)) {
            head.params = std::move(*params);
            return route.factory;
        }
    }
    return nullptr;
}

Response Router::run(const Handler& handler, const RecordedRequest& request)
{
    try {
        return handler(request);
    } catch (const std::exception& e) {
        return Response::error(500, "handler for " + request.method + " " + request.path + " failed: " + e.what());
    }
}

} // namespace lithmar::local
