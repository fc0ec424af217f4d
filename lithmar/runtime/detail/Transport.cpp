#include <lithmar/runtime/detail/Transport.h>

#include <lithmar/runtime/ApiException.h>
#include <lithmar/runtime/Utf8.h>
#include <lithmar/runtime/detail/BodyStreamBuffer.h>

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <iterator>

namespace com::vantorel::lithmar::detail {
namespace {

namespace http = web::http;

// cpprestsdk's 64 KiB default makes a large upload cost one socket write and
// one task continuation per 64 KiB; 1 MiB chunks keep the send loop cheap.
constexpr std::size_t kDefaultChunkSize = 64 * 1024;
constexpr std::size_t kStreamingChunkSize = 1024 * 1024;

const char* const kCredentialHeaders[] = {"Cookie", "Authorization"};

bool isRedirect(http::status_code status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

http::http_request build(const PreparedRequest& request)
{
    http::http_request message(request.method);
    message.set_request_uri(request.target.resource());
    if (request.body) {
        std::optional<std::uint64_t> size;
        auto stream = BodyStreamBuffer::open(request.body, size);
        const std::string contentType = request.contentType.empty() ? "application/octet-stream" : request.contentType;
        if (size) {
            message.set_body(stream, *size, contentType);
        } else {
            message.set_body(stream, contentType);
        }
    }
    for (const auto& [name, value] : request.headers) {
        message.headers()[name] = value;
    }
    return message;
}

// A redirect that cannot be followed ends the call with the 3xx status and
// a message saying why, rather than handing the 3xx on as if it were the
// answer the caller asked for.
[[noreturn]] void refuseRedirect(const http::http_response& response, const web::uri& from, const std::string& why)
{
    throw ApiException(response.status_code(),
                       fromUtf8(why + " (answer " + std::to_string(response.status_code()) + " from " +
                                from.to_string() + ")"));
}

web::uri resolve(const web::uri& base, const std::string& location, const http::http_response& response)
{
    web::uri reference;
    try {
        reference = web::uri(location);
    } catch (const web::uri_exception&) {
        refuseRedirect(response, base, "redirect to an invalid location \"" + location + "\"");
    }
    if (!reference.scheme().empty()) {
        if (!boost::iequals(reference.scheme(), "http") && !boost::iequals(reference.scheme(), "https")) {
            refuseRedirect(response, base,
                           "redirect to \"" + location + "\", which is not an http or https location");
        }
        return reference;
    }
    web::uri_builder builder(base);
    builder.set_query("").set_fragment("");
    if (boost::starts_with(location, "/")) {
        builder.set_path(reference.path()).set_query(reference.query());
    } else {
        std::string directory = base.path().substr(0, base.path().rfind('/') + 1);
        builder.set_path(directory + reference.path()).set_query(reference.query());
    }
    return builder.to_uri();
}

template <typename Predicate>
void dropHeaders(std::vector<std::pair<std::string, std::string>>& headers, Predicate drop)
{
    headers.erase(std::remove_if(headers.begin(), headers.end(), [&](const auto& header) { return drop(header.first); }),
                  headers.end());
}

bool isCredentialHeader(const std::string& name)
{
    return std::any_of(std::begin(kCredentialHeaders), std::end(kCredentialHeaders),
                       [&](const char* credential) { return boost::iequals(name, credential); });
}

PreparedRequest redirected(PreparedRequest request, const http::http_response& response, const web::uri& location)
{
    const auto status = response.status_code();
    const bool keepsMethod = status == 307 || status == 308;
    if (!keepsMethod && request.method != "HEAD") {
        request.method = "GET";
        request.body = nullptr;
        dropHeaders(request.headers, [](const std::string& name) { return boost::istarts_with(name, "Content-"); });
    }
    if (originOf(location) != originOf(request.target)) {
        dropHeaders(request.headers, isCredentialHeader);
    }
    request.target = location;
    return request;
}

pplx::task<http::http_response> sendFollowing(std::shared_ptr<Connections> connections, PreparedRequest request,
                                              std::size_t redirectsLeft, std::size_t maxRedirects)
{
    auto client = connections->clientFor(request.target);
    return client.request(build(request))
        .then([connections, request = std::move(request), redirectsLeft,
               maxRedirects](http::http_response response) mutable {
            if (!isRedirect(response.status_code())) {
                return pplx::task_from_result(response);
            }
            const auto location = response.headers().find("Location");
            if (location == response.headers().end() || location->second.empty()) {
                refuseRedirect(response, request.target, "redirect without a location");
            }
            if (redirectsLeft == 0) {
                refuseRedirect(response, request.target,
                               "too many redirects: still redirected after " + std::to_string(maxRedirects) + " were followed");
            }
            const web::uri next = resolve(request.target, location->second, response);
            return sendFollowing(connections, redirected(std::move(request), response, next), redirectsLeft - 1,
                                 maxRedirects);
        });
}

} // namespace

std::string originOf(const web::uri& target)
{
    return target.scheme() + "://" + target.host() + ":" + std::to_string(target.port() > 0 ? target.port()
                                                                           : target.scheme() == "https" ? 443 : 80);
}

Connections::Connections(std::shared_ptr<ApiConfiguration> configuration) : m_configuration(std::move(configuration)) {}

web::http::client::http_client Connections::clientFor(const web::uri& target)
{
    const std::string origin = originOf(target);
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_clients.find(origin);
    if (found != m_clients.end()) {
        return found->second;
    }
    auto settings = m_configuration->getHttpConfig();
    settings.set_max_redirects(0);
    if (settings.chunksize() == kDefaultChunkSize) {
        settings.set_chunksize(kStreamingChunkSize);
    }
    web::uri_builder base;
    base.set_scheme(target.scheme()).set_host(target.host()).set_port(target.port());
    return m_clients.emplace(origin, web::http::client::http_client(base.to_uri(), settings)).first->second;
}

std::size_t Connections::maxRedirects() const
{
    return m_configuration->getHttpConfig().max_redirects();
}

pplx::task<web::http::http_response> send(const std::shared_ptr<Connections>& connections, PreparedRequest request)
{
    const std::size_t maxRedirects = connections->maxRedirects();
    if (maxRedirects == 0) {
        // Following is switched off: the caller wants the 3xx itself.
        return connections->clientFor(request.target).request(build(request));
    }
    return sendFollowing(connections, std::move(request), maxRedirects, maxRedirects);
}

} // namespace com::vantorel::lithmar::detail
