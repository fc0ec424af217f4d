#include <lithmar/exchange/api/DataExchangeApi.h>

namespace com::vantorel::lithmar::exploration::api {

namespace {
constexpr int32_t kDefaultAsyncResponseTimeOut = 3600;
}

DataExchangeApi::DataExchangeApi(std::shared_ptr<ApiClient> client)
    : apiClient(std::move(client)), asyncResponseTimeOut(kDefaultAsyncResponseTimeOut)
{
}

DataExchangeApi::DataExchangeApi(const DataExchangeApi& other) = default;
DataExchangeApi& DataExchangeApi::operator=(const DataExchangeApi& other) = default;
DataExchangeApi::~DataExchangeApi() = default;

void DataExchangeApi::setAsyncResponseTimeOut(int seconds)
{
    asyncResponseTimeOut = seconds;
}

void DataExchangeApi::setServiceUrls(std::map<std::string, std::string> urls)
{
    serviceUrls = std::move(urls);
}

std::shared_ptr<ApiClient> DataExchangeApi::getApiClient() const
{
    return apiClient;
}

int32_t DataExchangeApi::getAsyncResponseTimeOut() const
{
    return asyncResponseTimeOut;
}

const std::wstring& DataExchangeApi::getSessionCookie() const
{
    return sessionCookie;
}

const std::map<std::string, std::string>& DataExchangeApi::getServiceUrls() const
{
    return serviceUrls;
}

} // namespace com::vantorel::lithmar::exploration::api
