#pragma once

#include <lithmar/exchange/lithmar_exchange_export.h>
#include <lithmar/exchange/session/SessionCookies.h>
#include <lithmar/runtime/ApiClient.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace com::vantorel::lithmar::exploration::api {

// The one object through which a host application talks to the data
// exchange service. It shares its ApiClient with the host and with every
// pending operation, and keeps the session cookies that the service hands
// out. Pending operations refer to the object by plain pointer: keep it alive
// until every task it returned has completed, and configure it before use
// (nothing in it is locked).
class LITHMAR_EXCHANGE_EXPORT DataExchangeApi {
public:
    explicit DataExchangeApi(std::shared_ptr<ApiClient> apiClient);
    DataExchangeApi(const DataExchangeApi& other);
    DataExchangeApi& operator=(const DataExchangeApi& other);
    virtual ~DataExchangeApi();

    // Seconds an upload waits for its result notification.
    void setAsyncResponseTimeOut(int seconds);
    // The platform's service URLs by service key; replaces the whole map.
    void setServiceUrls(std::map<std::string, std::string> serviceUrls);

    std::shared_ptr<ApiClient> getApiClient() const;
    int32_t getAsyncResponseTimeOut() const;
    const std::wstring& getSessionCookie() const;
    const std::map<std::string, std::string>& getServiceUrls() const;

protected:
    std::shared_ptr<ApiClient> apiClient;
    int32_t asyncResponseTimeOut;
    std::wstring sessionCookie;
    std::map<std::string, std::string> serviceUrls;
};

} // namespace com::vantorel::lithmar::exploration::api
