#pragma once

#include <tools/local/exchange/ExchangeContext.h>
#include <tools/local/exchange/ServicePaths.h>
#include <tools/local/server/HttpServer.h>
#include <tools/local/session/WebSessions.h>

#include <cstddef>
#include <functional>
#include <string>

namespace lithmar::local {

struct ExchangeOptions {
    // Where the service sits on the host; the last segment ends in "-xchng".
    std::string basePath{kDefaultExchangeBasePath};
    // Jobs that may wait at once; imports beyond it get "jobId":"QUEUE_FULL".
    std::size_t jobQueueCapacity = 100;
    // Who sent an import request: its job's result goes to this user ("" for
    // nobody: no one signed in). Unset: kLocalUser.
    std::function<std::string(const RecordedRequest&)> uploadingUser;
    // Called after a job was queued (to wake the job runner).
    std::function<void()> jobQueued;
    // "https" when the server speaks TLS: the check-in URLs that upload
    // start hands out name it.
    std::string scheme = "http";
};

// The data exchange service: sites, coordinate reference systems, upload
// sessions, imports (queued as jobs) and downloads, as JSON endpoints under
// the base path. Every answer hands out session cookies to a request that
// carries no known session (see WebSessions).
class ExchangeService {
public:
    // Throws std::invalid_argument on a bad base path.
    ExchangeService(ExchangeOptions options, ExchangeStore& store, WebSessions& sessions);

    ExchangeService(const ExchangeService&) = delete;
    ExchangeService& operator=(const ExchangeService&) = delete;

    // Adds the service's routes to `server`; the service must outlive it.
    void install(HttpServer& server);

    const std::string& basePath() const { return m_context.basePath; }
    ExchangeStore& store() { return m_context.store; }

private:
    using Endpoint = std::function<Response(ExchangeContext&, const RecordedRequest&)>;
    void add(HttpServer& server, const char* method, const std::string& path, Endpoint endpoint);

    ExchangeContext m_context;
    WebSessions& m_sessions;
};

} // namespace lithmar::local
