#include <tools/local/exchange/ExchangeService.h>

#include <tools/local/common/SafeAnswer.h>
#include <tools/local/exchange/ExchangeEndpoints.h>

namespace lithmar::local {

ExchangeService::ExchangeService(ExchangeOptions options, ExchangeStore& store, WebSessions& sessions)
    : m_context{store,
                std::move(options.basePath),
                options.jobQueueCapacity,
                std::move(options.uploadingUser),
                std::move(options.jobQueued),
                {},
                std::move(options.scheme)},
      m_sessions(sessions)
{
    checkBasePath(m_context.basePath, service_suffix::kExchange);
}

void ExchangeService::install(HttpServer& server)
{
    using namespace endpoints;
    // Ids may hold '/', so id routes capture the rest of the path ("{id}" is
    // its first segment, required non-empty) and the endpoint takes the id
    // from the path itself.
    add(server, "GET", "/common/sites/v1", sitesOrSessionOpening);
    add(server, "POST", "/common/sites/v1", createSite);
    add(server, "GET", "/common/sites/v1/{id}/{more...}", siteDetails);
    add(server, "GET", "/common/crs/v1", crsList);
    add(server, "POST", "/upload/v1/start", startUpload);
    add(server, "POST", "/upload/v1/finish", finishUpload);
    for (const ImportKind& kind : importKinds()) {
        add(server, "POST", kind.path, [&kind](ExchangeContext& context, const RecordedRequest& request) {
            return importFiles(context, request, kind);
        });
    }
    for (const DownloadKind& kind : downloadKinds()) {
        add(server, "GET", std::string(kind.pathPrefix) + "{id}/{more...}",
            [&kind](ExchangeContext& context, const RecordedRequest& request) {
                return download(context, request, kind);
            });
    }
}

void ExchangeService::add(HttpServer& server, const char* method, const std::string& path, Endpoint endpoint)
{
    server.route(
        method, m_context.basePath + path, [this, endpoint = std::move(endpoint)](const RecordedRequest& request) {
            // The session first: failed requests get their cookies too, as from
            // the platform's application server.
            const WebSessions::Admission session = m_sessions.admit(request);
            Response response =
                answerSafely([this, &endpoint](const RecordedRequest& r) { return endpoint(m_context, r); }, request);
            if (session.opened) {
                for (Header& cookie : m_sessions.cookieHeaders(session.sessionId)) {
                    response.headers.push_back(std::move(cookie));
                }
            }
            return response;
        });
}

} // namespace lithmar::local
