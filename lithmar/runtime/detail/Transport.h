#pragma once

#include <lithmar/runtime/ApiConfiguration.h>
#include <lithmar/runtime/IHttpBody.h>

#include <cpprest/http_client.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace com::vantorel::lithmar::detail {

// Everything needed to send one request again and again: each send builds a
// fresh http_request with a fresh body reader.
struct PreparedRequest {
    std::string method;
    web::uri target;
    std::vector<std::pair<std::string, std::string>> headers;
    std::shared_ptr<IHttpBody> body;
    std::string contentType;
};

// One cpprestsdk client per origin, made with the configuration's settings as
// they are when that origin is first used. cpprestsdk's own redirect handling
// is switched off in those clients: it would copy the Cookie header to any
// host a redirect names.
class Connections {
public:
    explicit Connections(std::shared_ptr<ApiConfiguration> configuration);

    web::http::client::http_client clientFor(const web::uri& target);
    std::size_t maxRedirects() const;

private:
    std::shared_ptr<ApiConfiguration> m_configuration;
    std::mutex m_mutex;
    std::map<std::string, web::http::client::http_client> m_clients;
};

// Sends the request once and follows redirects as ApiClient documents; a
// redirect it cannot follow fails the task with ApiException.
pplx::task<web::http::http_response> send(const std::shared_ptr<Connections>& connections, PreparedRequest request);

std::string originOf(const web::uri& target);

} // namespace com::vantorel::lithmar::detail
