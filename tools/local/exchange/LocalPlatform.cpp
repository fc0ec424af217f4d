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

} // namespace

LocalPlatform::LocalPlatform(LocalPlatformOptions options)
    : m_options(std::move(options)), m_store(m_options.dataDirectory),
      m_exchange({m_options.exchangeBasePath, m_options.jobQueueCapacity}, m_store, m_sessions),
      m_files(siblingPath(m_options.exchangeBasePath, service_suffix::kExchange, service_suffix::kFileServer),
              m_options.dataDirectory.empty() ? ""
                                              : (std::filesystem::path(m_options.dataDirectory) / "files").string(),
              m_store.uploads()),
      m_server(serverOptions(m_options))
{
    m_exchange.install(m_server);
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

std::string LocalPlatform::exchangeUrl() const
{
    return baseUrl() + m_exchange.basePath();
}

} // namespace lithmar::local
