#include <lithmar/exchange/session/ServiceUrls.h>

#include <lithmar/runtime/Utf8.h>

namespace com::vantorel::lithmar::exploration::api {
namespace {

const std::string kOwnSuffix = "-xchng";

std::wstring siblingServiceUrl(const ServiceUrlMap& serviceUrls, const std::string& ownUrl, const std::string& key,
                               const std::string& path, const std::string& suffix)
{
    const auto known = serviceUrls.find(key);
    if (known != serviceUrls.end() && !known->second.empty()) {
        return fromUtf8(known->second + path);
    }
    std::string url = ownUrl + path;
    // Every occurrence, in the host and the path alike.
    for (auto at = url.find(kOwnSuffix); at != std::string::npos; at = url.find(kOwnSuffix)) {
        url.replace(at, kOwnSuffix.size(), suffix);
    }
    return fromUtf8(url);
}

} // namespace

std::wstring userServiceUrl(const ServiceUrlMap& serviceUrls, const std::string& ownUrl)
{
    return siblingServiceUrl(serviceUrls, ownUrl, "Brevane", "/api/users/current", "-dash");
}

std::wstring notificationServiceUrl(const ServiceUrlMap& serviceUrls, const std::string& ownUrl)
{
    return siblingServiceUrl(serviceUrls, ownUrl, "tidewell", "", "-gate");
}

std::wstring servicesDirectoryUrl(const ServiceUrlMap& serviceUrls, const std::string& ownUrl)
{
    return siblingServiceUrl(serviceUrls, ownUrl, "Maraquil", "/vireon/resources/AppsMngt/api/v1/services", "-dirx");
}

} // namespace com::vantorel::lithmar::exploration::api
