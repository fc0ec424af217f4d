#pragma once

#include <tools/local/exchange/ExchangeService.h>
#include <tools/local/exchange/ExchangeStore.h>
#include <tools/local/exchange/WebSessions.h>
#include <tools/local/exchange/imports/JobRunner.h>
#include <tools/local/server/HttpServer.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace lithmar::local {

struct LocalPlatformOptions {
    std::string address = "127.0.0.1";
    // 0 picks a free port (tests); lithmar-local uses 8480 by default.
    std::uint16_t port = 0;
    // "" keeps the state in memory; otherwise <dataDirectory>/platform.db.
    std::string dataDirectory;
    // "" for none; otherwise one line per request appended to this file.
    std::string requestLogFile;
    std::size_t jobQueueCapacity = 100;
    std::string exchangeBasePath{kDefaultExchangeBasePath};
    // Threads answering requests; handlers wait on the database in turn, so
    // a few are enough.
    std::size_t threads = 4;

    // Threads carrying out import jobs; 0 leaves every job queued.
    std::size_t jobWorkers = 2;
    // How long each import job waits before it runs.
    std::chrono::milliseconds jobDelay{0};
    // Where the file checked in for a stream is kept. Unset: no stream has
    // a file, and every import fails saying so.
    imports::StoredFileLookup storedFile;
    // Delivers a job's result to the user who asked for the import. Unset:
    // the result is only recorded with the job.
    imports::PublishResult publishResult;
    // The user who sent an import request. Unset: "LOCAL_USER".
    std::function<std::string(const RecordedRequest&)> uploadingUser;
};

// Every platform service that the client library talks to, on one host and
// port, as host developers and tests run it:
//
//     LocalPlatform platform;
//     platform.start();
//     configuration->setBaseUrl(platform.exchangeUrl());
//
// Also serves the control endpoints (see ControlEndpoints.h).
class LocalPlatform {
public:
    // Opens (or creates) the state; throws std::runtime_error when the data
    // directory or the request log cannot be used, std::invalid_argument on
    // a bad base path.
    explicit LocalPlatform(LocalPlatformOptions options = {});
    ~LocalPlatform();

    LocalPlatform(const LocalPlatform&) = delete;
    LocalPlatform& operator=(const LocalPlatform&) = delete;

    // See HttpServer::start() and stop(): after a stop(), start() listens on
    // the same port again, with the same state.
    void start();
    void stop();

    std::uint16_t port() const;
    // "http://127.0.0.1:<port>"
    std::string baseUrl() const;
    // "http://127.0.0.1:<port>/lithmar-xchng"
    std::string exchangeUrl() const;

    // For scripting faults and reading the request log.
    HttpServer& server() { return m_server; }
    // Which requests carried which session.
    const WebSessions& sessions() const { return m_sessions; }
    // The state: sites, upload sessions, jobs.
    ExchangeStore& store() { return m_store; }

private:
    const LocalPlatformOptions m_options;
    ExchangeStore m_store;
    WebSessions m_sessions;
    imports::JobRunner m_jobRunner;
    ExchangeService m_exchange;
    // Last: stopped, and its handlers gone, before the services they use.
    HttpServer m_server;
};

} // namespace lithmar::local
