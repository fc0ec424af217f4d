#pragma once

#include <tools/local/exchange/ExchangeService.h>
#include <tools/local/exchange/ExchangeStore.h>
#include <tools/local/exchange/imports/JobRunner.h>
#include <tools/local/exchange/notification/NotificationQueues.h>
#include <tools/local/fcs/FileServer.h>
#include <tools/local/server/HttpServer.h>
#include <tools/local/session/LocalCertificates.h>
#include <tools/local/session/SessionServices.h>
#include <tools/local/session/TicketStore.h>
#include <tools/local/session/UserTable.h>
#include <tools/local/session/WebSessions.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lithmar::local {

struct LocalPlatformOptions {
    std::string address = "127.0.0.1";
    // 0 picks a free port (tests); lithmar-local uses 8480 by default.
    std::uint16_t port = 0;
    // "" keeps the state in memory and checked-in files in a temporary
    // directory; otherwise <dataDirectory>/platform.db and <dataDirectory>/files.
    std::string dataDirectory;
    // "" for none; otherwise one line per request appended to this file.
    std::string requestLogFile;
    // The latest requests kept for GET /_control/requests and server():
    // at most this many (0: none), each with at most this many body bytes.
    std::size_t requestLogEntries = ServerOptions{}.requestLogEntries;
    std::size_t requestLogBodyBytes = ServerOptions{}.requestLogBodyBytes;
    // The server's time-outs and connection cap (see ServerOptions).
    std::chrono::milliseconds headTimeout = ServerOptions{}.headTimeout;
    std::chrono::milliseconds bodyTimeout = ServerOptions{}.bodyTimeout;
    std::chrono::milliseconds idleTimeout = ServerOptions{}.idleTimeout;
    std::size_t maxConnections = ServerOptions{}.maxConnections;
    std::size_t jobQueueCapacity = 100;
    std::string exchangeBasePath{kDefaultExchangeBasePath};
    // Threads answering requests; handlers wait on the database in turn, so
    // a few are enough.
    std::size_t threads = 4;
    // Where the notification service answers the polling client of the
    // local user (see PollEndpoint.h), on 127.0.0.1: unset for nowhere, 0 for
    // a free port. The client library polls port 8080, which lithmar-local
    // serves; tests that need it take it in turn.
    std::optional<std::uint16_t> pollPort;
    // false: a local installation, without sign-in ("LOCAL_USER",
    // "LOCAL_TICKET"). true: the platform's sign-in, current user and login
    // tickets, for these users and those added through the control
    // endpoint (see SessionServices).
    bool platformMode = false;
    std::vector<UserCredentials> users;
    std::chrono::seconds ticketLifetime = std::chrono::hours(12);
    // Rounds of password hashing; tests lower it.
    unsigned passwordHashIterations = 100000;
    // Platform mode serves HTTPS, with certificates made at start (see
    // LocalCertificates) in <dataDirectory>/tls, or in a temporary directory
    // removed at the end without a data directory. Tests of the services
    // themselves may ask for plain HTTP.
    bool plainHttp = false;

    // Threads carrying out import jobs; 0 leaves every job queued.
    std::size_t jobWorkers = 2;
    // How long each import job waits before it runs.
    std::chrono::milliseconds jobDelay{0};
    // Where the jobs find the file checked in for a stream. Unset: the
    // platform's file server (files()); tests set it to import files
    // without checking them in.
    imports::StoredFileLookup storedFile;
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
    // a bad base path or user.
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
    // Where users sign in, in platform mode: ".../lithmar-login/signin"
    std::string signInUrl() const;
    // The CA certificate (PEM) that clients trust to reach the platform over
    // HTTPS; empty when it serves plain HTTP.
    std::string caCertificate() const;
    // The port of the poll endpoint, 0 when it is not served.
    std::uint16_t pollPort() const;

    // Sends `payloadJson` (a JSON object, for an import a job's result with
    // its "jobId") to `user` through the notification service. Throws
    // std::invalid_argument when the payload is not a JSON object.
    void publish(const std::string& user, const std::string& payloadJson);
    NotificationQueues& notifications() { return m_notifications; }

    // For scripting faults and reading the request log.
    HttpServer& server() { return m_server; }
    // The same for the poll endpoint; null when it is not served.
    HttpServer* pollServer() { return m_pollServer.get(); }
    // Which requests carried which session, and who signed in to them.
    const WebSessions& sessions() const { return m_sessions; }
    // The login tickets handed out; check(user, ticket) for services that
    // take one.
    const TicketStore& tickets() const { return m_tickets; }
    UserTable& users() { return m_users; }
    // Who the request acts for: "LOCAL_USER" in a local installation, the
    // user signed in to its web session in platform mode (nullopt when
    // none is).
    std::optional<std::string> userOf(const RecordedRequest& request) const;
    // The state: sites, upload sessions, jobs.
    ExchangeStore& store() { return m_store; }
    // The file server: where checked-in files are kept.
    FileServer& files() { return m_files; }

private:
    // A directory of its own, removed with it.
    struct TemporaryDirectory {
        TemporaryDirectory();
        ~TemporaryDirectory();
        std::filesystem::path path;
    };

    const LocalPlatformOptions m_options;
    // First: the server's TLS context is made from it.
    std::unique_ptr<TemporaryDirectory> m_certificateDirectory;
    std::optional<LocalCertificates> m_certificates;
    ExchangeStore m_store;
    WebSessions m_sessions;
    UserTable m_users;
    TicketStore m_tickets;
    SessionServices m_sessionServices;
    NotificationQueues m_notifications;
    FileServer m_files;
    imports::JobRunner m_jobRunner;
    ExchangeService m_exchange;
    // Last: stopped, and their handlers gone, before the services they use.
    HttpServer m_server;
    std::unique_ptr<HttpServer> m_pollServer;
};

} // namespace lithmar::local
