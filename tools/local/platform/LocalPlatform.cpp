#include <tools/local/platform/LocalPlatform.h>

#include <tools/local/exchange/ControlEndpoints.h>
#include <tools/local/exchange/notification/NotificationControl.h>
#include <tools/local/exchange/notification/NotificationSocket.h>
#include <tools/local/exchange/notification/PollEndpoint.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace lithmar::local {
namespace {

bool servesTls(const LocalPlatformOptions& options)
{
    return options.platformMode && !options.plainHttp;
}

const char* schemeOf(const LocalPlatformOptions& options)
{
    return servesTls(options) ? "https" : "http";
}

ServerOptions serverOptions(const LocalPlatformOptions& options, const std::optional<LocalCertificates>& certificates)
{
    ServerOptions server;
    if (certificates) {
        server.tls = certificates->serverContext();
    }
    server.address = options.address;
    server.port = options.port;
    server.threads = options.threads;
    server.requestLogFile = options.requestLogFile;
    server.requestLogEntries = options.requestLogEntries;
    server.requestLogBodyBytes = options.requestLogBodyBytes;
    server.headTimeout = options.headTimeout;
    server.bodyTimeout = options.bodyTimeout;
    server.idleTimeout = options.idleTimeout;
    server.maxConnections = options.maxConnections;
    return server;
}

std::unique_ptr<HttpServer> makePollServer(const LocalPlatformOptions& options, const NotificationQueues& queues)
{
    if (!options.pollPort) {
        return nullptr;
    }
    ServerOptions server;
    server.address = "127.0.0.1";
    server.port = *options.pollPort;
    // One poll every five seconds per client process.
    server.threads = 1;
    auto poll = std::make_unique<HttpServer>(server);
    installPollEndpoint(*poll, queues, TicketStore::kLocalUser);
    return poll;
}

// Tells the developer what to do when the poll port is in use: most often
// another lithmar-local, or another program that took 8080.
void startPollServer(HttpServer& server, std::uint16_t port)
{
    try {
        server.start();
    } catch (const std::system_error& e) {
        const std::string where = "the notification poll endpoint cannot listen on 127.0.0.1:" + std::to_string(port);
        if (e.code() == std::errc::address_in_use) {
            throw std::runtime_error(where + ": port " + std::to_string(port) +
                                     " is taken by another process. Stop that process, or choose another port "
                                     "with --poll-port (clients poll 8080) or none with --no-poll");
        }
        throw std::runtime_error(where + ": " + e.what());
    }
}

SessionServiceOptions sessionOptions(const LocalPlatformOptions& options)
{
    const auto sibling = [&options](std::string_view suffix) {
        return siblingPath(options.exchangeBasePath, service_suffix::kExchange, suffix);
    };
    SessionServiceOptions session;
    session.platformMode = options.platformMode;
    session.scheme = schemeOf(options);
    session.userBasePath = sibling(service_suffix::kUsers);
    session.directoryBasePath = sibling(service_suffix::kDirectory);
    session.loginBasePath = sibling(service_suffix::kLogin);
    session.notificationBasePath = sibling(service_suffix::kNotifications);
    session.controlPath = kControlPath;
    return session;
}

TicketStore::Options ticketOptions(const LocalPlatformOptions& options)
{
    TicketStore::Options tickets;
    tickets.lifetime = options.ticketLifetime;
    tickets.acceptLocalTicket = !options.platformMode;
    return tickets;
}

std::optional<LocalCertificates> makeCertificates(const LocalPlatformOptions& options,
                                                  const std::filesystem::path& temporaryDirectory)
{
    if (!servesTls(options)) {
        return std::nullopt;
    }
    const std::filesystem::path directory =
        options.dataDirectory.empty() ? temporaryDirectory : std::filesystem::path(options.dataDirectory) / "tls";
    return LocalCertificates(directory, LocalCertificates::namesFor(options.address));
}

imports::StoredFileLookup storedFileLookup(const LocalPlatformOptions& options, FileServer& files)
{
    if (options.storedFile) {
        return options.storedFile;
    }
    return [&files](const std::string& streamId) -> std::optional<std::filesystem::path> {
        const auto stored = files.storedFile(streamId);
        return stored ? std::optional<std::filesystem::path>(stored->path) : std::nullopt;
    };
}

} // namespace

LocalPlatform::TemporaryDirectory::TemporaryDirectory()
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/lithmar-local-tls-XXXXXX";
    if (!::mkdtemp(pattern.data())) {
        throw std::system_error(errno, std::generic_category(), "cannot make a directory for the TLS certificates");
    }
    path = pattern;
}

LocalPlatform::TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

LocalPlatform::LocalPlatform(LocalPlatformOptions options)
    : m_options(std::move(options)),
      m_certificateDirectory(
          servesTls(m_options) && m_options.dataDirectory.empty() ? std::make_unique<TemporaryDirectory>() : nullptr),
      m_certificates(makeCertificates(m_options, m_certificateDirectory ? m_certificateDirectory->path : "")),
      m_store(m_options.dataDirectory), m_users(m_options.passwordHashIterations), m_tickets(ticketOptions(m_options)),
      m_sessionServices(sessionOptions(m_options), m_sessions, m_users, m_tickets),
      m_files(siblingPath(m_options.exchangeBasePath, service_suffix::kExchange, service_suffix::kFileServer),
              m_options.dataDirectory.empty() ? ""
                                              : (std::filesystem::path(m_options.dataDirectory) / "files").string(),
              m_store.uploads()),
      m_jobRunner(m_store, {m_options.jobWorkers, m_options.jobDelay}, storedFileLookup(m_options, m_files),
                  [this](const std::string& user, const std::string& payloadJson) { publish(user, payloadJson); }),
      m_exchange({m_options.exchangeBasePath, m_options.jobQueueCapacity,
                  [this](const RecordedRequest& request) { return userOf(request).value_or(std::string()); },
                  [this] { m_jobRunner.wake(); }, schemeOf(m_options)},
                 m_store, m_sessions),
      m_server(serverOptions(m_options, m_certificates)), m_pollServer(makePollServer(m_options, m_notifications))
{
    for (const UserCredentials& user : m_options.users) {
        m_users.add(user);
    }
    m_exchange.install(m_server);
    m_sessionServices.install(m_server);
    m_files.install(m_server);
    installControlEndpoints(m_server, m_sessions);
    installNotificationControl(m_server, m_notifications);
    installNotificationSocket(
        m_server, siblingPath(m_options.exchangeBasePath, service_suffix::kExchange, service_suffix::kNotifications),
        m_notifications,
        [this](const std::string& user, const std::string& ticket) { return m_tickets.check(user, ticket); });
}

LocalPlatform::~LocalPlatform()
{
    stop();
}

void LocalPlatform::start()
{
    m_server.start();
    if (m_pollServer) {
        try {
            startPollServer(*m_pollServer, *m_options.pollPort);
        } catch (...) {
            m_server.stop();
            throw;
        }
    }
    m_jobRunner.start();
}

void LocalPlatform::stop()
{
    // Requests first, so that no job is queued behind the runner's back.
    if (m_pollServer) {
        m_pollServer->stop();
    }
    m_server.stop();
    m_jobRunner.stop();
}

std::uint16_t LocalPlatform::port() const
{
    return m_server.port();
}

std::string LocalPlatform::baseUrl() const
{
    return m_server.baseUrl();
}

std::uint16_t LocalPlatform::pollPort() const
{
    return m_pollServer ? m_pollServer->port() : 0;
}

void LocalPlatform::publish(const std::string& user, const std::string& payloadJson)
{
    m_notifications.publish(user, payloadJson);
}

std::optional<std::string> LocalPlatform::userOf(const RecordedRequest& request) const
{
    if (!m_options.platformMode) {
        return std::string(TicketStore::kLocalUser);
    }
    return m_sessions.userOf(request);
}

std::string LocalPlatform::exchangeUrl() const
{
    return baseUrl() + m_exchange.basePath();
}

std::string LocalPlatform::caCertificate() const
{
    return m_certificates ? m_certificates->caCertificate().string() : std::string();
}

std::string LocalPlatform::signInUrl() const
{
    return baseUrl() + siblingPath(m_options.exchangeBasePath, service_suffix::kExchange, service_suffix::kLogin) +
           "/signin";
}

} // namespace lithmar::local
