#include <tools/local/exchange/LocalPlatform.h>

#include <tools/local/exchange/ControlEndpoints.h>

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

} // namespace

LocalPlatform::LocalPlatform(LocalPlatformOptions options)
    : m_options(std::move(options)), m_store(m_options.dataDirectory),
      m_jobRunner(m_store, {m_options.jobWorkers, m_options.jobDelay}, m_options.storedFile, m_options.publishResult),
      m_exchange({m_options.exchangeBasePath, m_options.jobQueueCapacity, m_options.uploadingUser,
                  [this] { m_jobRunner.wake(); }},
                 m_store, m_sessions),
      m_server(serverOptions(m_options))
{
    m_exchange.install(m_server);
    installControlEndpoints(m_server, m_sessions);
}

LocalPlatform::~LocalPlatform()
{
    stop();
}

void LocalPlatform::start()
{
    m_server.start();
    m_jobRunner.start();
}

void LocalPlatform::stop()
{
    // Requests first, so that no job is queued behind the runner's back.
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

std::string LocalPlatform::exchangeUrl() const
{
    return baseUrl() + m_exchange.basePath();
}

} // namespace lithmar::local
