#include <tools/local/server/HttpServer.h>

#include <tools/local/server/detail/Runtime.h>
#include <tools/local/server/detail/ServerContext.h>

#include <stdexcept>

namespace lithmar::local {

HttpServer::HttpServer(Options options) : m_context(std::make_unique<detail::ServerContext>(std::move(options))) {}

HttpServer::~HttpServer()
{
    stop();
}

void HttpServer::start()
{
    const std::lock_guard<std::mutex> lock(m_lifecycle);
    if (m_runtime) {
        throw std::logic_error("the server on port " + std::to_string(m_port) + " is already running");
    }
    const std::uint16_t port = m_port != 0 ? m_port : m_context->options.port;
    m_runtime = std::make_unique<detail::Runtime>(*m_context, port);
    m_port = m_runtime->port();
}

void HttpServer::stop()
{
    const std::lock_guard<std::mutex> lock(m_lifecycle);
    m_runtime.reset();
}

bool HttpServer::isRunning() const
{
    const std::lock_guard<std::mutex> lock(m_lifecycle);
    return m_runtime != nullptr;
}

std::uint16_t HttpServer::port() const
{
    const std::lock_guard<std::mutex> lock(m_lifecycle);
    return m_port;
}

std::string HttpServer::baseUrl() const
{
    const std::string& address = m_context->options.address;
    const std::string host = address.find(':') == std::string::npos ? address : "[" + address + "]";
    return (m_context->options.tls ? "https://" : "http://") + host + ":" + std::to_string(port());
}

void HttpServer::route(std::string method, std::string_view pattern, Handler handler)
{
    m_context->router.add(std::move(method), pattern, std::move(handler));
}

void HttpServer::storeParts(std::string method, std::string_view pattern, PartSinkFactory factory)
{
    m_context->router.addPartSinks(std::move(method), pattern, std::move(factory));
}

void HttpServer::script(std::string method, std::string_view pathPattern, Fault fault, int times)
{
    m_context->faults.add(std::move(method), pathPattern, std::move(fault), times);
}

void HttpServer::webSocket(std::string_view pattern, WebSocketHandler handler)
{
    m_context->router.addWebSocket(pattern, std::move(handler));
}

void HttpServer::scriptRawConnections(std::string bytes, int times)
{
    m_context->faults.addRawConnections(std::move(bytes), times);
}

void HttpServer::clearScript()
{
    m_context->faults.clear();
}

std::vector<RecordedRequest> HttpServer::requests() const
{
    return m_context->requests.snapshot();
}

bool HttpServer::keepsRequests() const
{
    return m_context->options.requestLogEntries > 0;
}

void HttpServer::clearRequests()
{
    m_context->requests.clear();
}

bool HttpServer::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const
{
    return m_context->requests.waitFor(count, timeout);
}

std::size_t HttpServer::acceptedConnections() const
{
    return static_cast<std::size_t>(m_context->acceptedConnections.load());
}

} // namespace lithmar::local
