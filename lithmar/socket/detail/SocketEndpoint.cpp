#include <lithmar/socket/detail/SocketEndpoint.h>

#include <algorithm>
#include <cctype>

namespace com::vantorel::lithmar::detail {

std::optional<SocketEndpoint> socketEndpoint(const std::string& notificationUrl)
{
    const auto schemeEnd = notificationUrl.find("://");
    if (schemeEnd == std::string::npos) {
        return std::nullopt;
    }
    std::string scheme = notificationUrl.substr(0, schemeEnd);
    std::transform(scheme.begin(), scheme.end(), scheme.begin(), [](unsigned char c) { return std::tolower(c); });
    SocketEndpoint endpoint;
    if (scheme == "https" || scheme == "wss") {
        endpoint.tls = true;
    } else if (scheme != "http" && scheme != "ws") {
        return std::nullopt;
    }

    const std::string rest = notificationUrl.substr(schemeEnd + 3);
    const auto pathStart = rest.find_first_of("/?#");
    const std::string authority = rest.substr(0, pathStart);
    std::string path = pathStart == std::string::npos ? "" : rest.substr(pathStart);
    path = path.substr(0, path.find_first_of("?#"));
    while (!path.empty() && path.back() == '/') {
        path.pop_back();
    }
    if (authority.empty() || authority.find('@') != std::string::npos) {
        return std::nullopt;
    }

    // "[::1]:8480", "host:8480", "host"
    const auto closing = authority.rfind(']');
    const auto colon = authority.rfind(':');
    if (colon != std::string::npos && (closing == std::string::npos || colon > closing)) {
        endpoint.host = authority.substr(0, colon);
        endpoint.port = authority.substr(colon + 1);
        if (endpoint.port.empty() ||
            !std::all_of(endpoint.port.begin(), endpoint.port.end(), [](unsigned char c) { return std::isdigit(c); })) {
            return std::nullopt;
        }
    } else {
        endpoint.host = authority;
        endpoint.port = endpoint.tls ? "443" : "80";
    }
    if (endpoint.host.size() > 2 && endpoint.host.front() == '[' && endpoint.host.back() == ']') {
        endpoint.host = endpoint.host.substr(1, endpoint.host.size() - 2);
    }
    if (endpoint.host.empty()) {
        return std::nullopt;
    }
    endpoint.target = path + "/socket";
    return endpoint;
}

} // namespace com::vantorel::lithmar::detail
