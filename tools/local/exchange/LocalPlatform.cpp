#include <tools/local/exchange/LocalPlatform.h>

#include <tools/local/exchange/ControlEndpoints.h>

#include <filesystem>

namespace lithmar::local {
namespace {

ServerOptions serverOptions(const LocalPlatformOptions& options)
{
    ServerOptions server;
    server.address = options.address;
    server.port = options.port;
    server.threads = options.threads;
    server.requestLogFile = options.requestLogFile;
    return server;
}

SessionServiceOptions sessionOptions(const LocalPlatformOptions& options)
{
    const auto sibling = [&options](std::string_view suffix) {
        return siblingPath(options.exchangeBasePath, service_suffix::kExchange, suffix);
    };
    SessionServiceOptions session;
    session.platformMode = options.platformMode;
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

} // namespace

LocalPlatform::LocalPlatform(LocalPlatformOptions options)
    : m_options(std::move(options)), m_store(m_options.dataDirectory), m_users(m_options.passwordHashIterations),
      m_tickets(ticketOptions(m_options)), m_sessionServices(sessionOptions(m_options), m_sessions, m_users, m_tickets),
      m_exchange({m_options.exchangeBasePath, m_options.jobQueueCapacity}, m_store, m_sessions),
      m_files(siblingPath(m_options.exchangeBasePath, service_suffix::kExchange, service_suffix::kFileServer),
              m_options.dataDirectory.empty() ? ""
                                              : (std::filesystem::path(m_options.dataDirectory) / "files").string(),
              m_store.uploads()),
      m_server(serverOptions(m_options))
{
    for (const UserCredentials& user : m_options.users) {
        m_users.add(user);
    }
    m_exchange.install(m_server);
    m_sessionServices.install(m_server);
    m_files.install(m_server);
    installControlEndpoints(m_server, m_sessions);
}

LocalPlatform::~LocalPlatform()
{
    m_server.stop();
}

void LocalPlatform::start()
{
    m_server.start();
}

void LocalPlatform::stop()
{
    m_server.stop();
}

std::uint16_t LocalPlatform::port() const
{
    return m_server.port();
}

std::string LocalPlatform::baseUrl() const
{
    return m_server.baseUrl();
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

} // namespace lithmar::local
