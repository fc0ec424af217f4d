#include <tools/local/exchange/ControlEndpoints.h>

#include <tools/local/common/SafeAnswer.h>
#include <tools/local/exchange/FaultCommand.h>
#include <tools/local/exchange/JsonCommand.h>

namespace lithmar::local {
namespace {

Json requestJson(const RecordedRequest& request)
{
    Json headers = Json::array();
    for (const Header& header : request.headers) {
        headers.push_back({{"name", header.name}, {"value", header.value}});
    }
    return Json{
        {"method", request.method},     {"target", request.target},         {"headers", std::move(headers)},
        {"body", request.body},         {"bodySize", request.bodySize},     {"bodyTruncated", request.bodyTruncated},
        {"complete", request.complete}, {"connection", request.connection}, {"remoteAddress", request.remoteAddress}};
}

bool isControlRequest(const RecordedRequest& request)
{
    const std::string prefix = std::string(kControlPath) + "/";
    return request.path.rfind(prefix, 0) == 0;
}

Response done()
{
    return jsonAnswer(200, Json{{"result", "OK"}});
}

void add(HttpServer& server, const char* method, const char* path, Handler handler)
{
    server.route(method, std::string(kControlPath) + path,
                 [handler = std::move(handler)](const RecordedRequest& r) { return answerSafely(handler, r); });
}

} // namespace

void installControlEndpoints(HttpServer& server, WebSessions& sessions)
{
    add(server, "POST", "/faults", [&server](const RecordedRequest& request) {
        FaultCommand command = faultCommand(commandObject(request));
        server.script(command.method, command.path, std::move(command.fault), command.times);
        return done();
    });
    add(server, "DELETE", "/faults", [&server](const RecordedRequest&) {
        server.clearScript();
        return done();
    });
    add(server, "GET", "/requests", [&server](const RecordedRequest&) {
        if (!server.keepsRequests()) {
            return Response::error(409, "the request log is off: start lithmar-local with --request-log");
        }
        Json requests = Json::array();
        for (const RecordedRequest& request : server.requests()) {
            if (!isControlRequest(request)) {
                requests.push_back(requestJson(request));
            }
        }
        return jsonAnswer(200, Json{{"requests", std::move(requests)}});
    });
    add(server, "DELETE", "/requests", [&server](const RecordedRequest&) {
        server.clearRequests();
        return done();
    });
    add(server, "GET", "/sessions", [&sessions](const RecordedRequest&) {
        Json visits = Json::array();
        for (const SessionVisit& visit : sessions.visits()) {
            visits.push_back({{"sessionId", visit.sessionId},
                              {"opened", visit.opened},
                              {"method", visit.method},
                              {"target", visit.target}});
        }
        return jsonAnswer(200, Json{{"sessions", sessions.sessionCount()}, {"visits", std::move(visits)}});
    });
}

} // namespace lithmar::local
