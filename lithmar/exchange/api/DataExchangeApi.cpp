#include <lithmar/exchange/api/DataExchangeApi.h>

#include <lithmar/exchange/api/detail/OperationPipeline.h>
#include <lithmar/exchange/api/detail/UploadChain.h>

#include <boost/algorithm/string/replace.hpp>

namespace com::vantorel::lithmar::exploration::api {

namespace {

constexpr int32_t kDefaultAsyncResponseTimeOut = 3600;

using detail::Operation;

Operation get(std::wstring name, std::wstring path)
{
    return Operation{std::move(name), L"GET", std::move(path)};
}

Operation post(std::wstring name, std::wstring path, std::shared_ptr<ModelBase> body)
{
    Operation operation{std::move(name), L"POST", std::move(path)};
    operation.hasBody = true;
    operation.body = std::move(body);
    return operation;
}

// Identifiers go into the path as they are: "a/b" asks for .../a/b.
std::wstring withId(std::wstring path, const std::wstring& id)
{
    boost::replace_all(path, L"{id}", ApiClient::parameterToString(id));
    return path;
}

Operation download(std::wstring name, const wchar_t* path, const std::wstring& id, const std::wstring& format,
                   const std::wstring& detailLevel, const std::wstring& crs)
{
    Operation operation = get(std::move(name), withId(path, id));
    operation.queryParams = {{L"format", ApiClient::parameterToString(format)},
                             {L"detailLevel", ApiClient::parameterToString(detailLevel)},
                             {L"crs", ApiClient::parameterToString(crs)}};
    return operation;
}

} // namespace

DataExchangeApi::DataExchangeApi(std::shared_ptr<ApiClient> client)
    : apiClient(std::move(client)), asyncResponseTimeOut(kDefaultAsyncResponseTimeOut)
{
}

DataExchangeApi::DataExchangeApi(const DataExchangeApi& other)
    : apiClient(other.apiClient), asyncResponseTimeOut(other.getAsyncResponseTimeOut()),
      sessionCookie(other.sessionCookie), serviceUrls(other.serviceUrls)
{
}

DataExchangeApi& DataExchangeApi::operator=(const DataExchangeApi& other)
{
    apiClient = other.apiClient;
    asyncResponseTimeOut = other.getAsyncResponseTimeOut();
    sessionCookie = other.sessionCookie;
    serviceUrls = other.serviceUrls;
    return *this;
}
DataExchangeApi::~DataExchangeApi() = default;

pplx::task<std::shared_ptr<model::CreateSiteResult>>
DataExchangeApi::createSite(std::shared_ptr<model::SiteCreateCommand> body)
{
    detail::requireBody(body, L"createSite");
    return detail::sendAndParse<model::CreateSiteResult>(apiClient, &sessionCookie,
                                                         post(L"createSite", L"/common/sites/v1", body));
}

pplx::task<std::shared_ptr<model::GetSiteResult>> DataExchangeApi::getSite(std::wstring id)
{
    return detail::sendAndParse<model::GetSiteResult>(apiClient, &sessionCookie,
                                                      get(L"getSite", withId(L"/common/sites/v1/{id}", id)));
}

pplx::task<std::shared_ptr<model::GetSitesResult>> DataExchangeApi::getSites()
{
    return getVM(apiClient, sessionCookie, L"/common/sites/v1").then([this](const std::wstring&) {
        return listSites();
    });
}

pplx::task<std::shared_ptr<model::GetSitesResult>> DataExchangeApi::listSites()
{
    return detail::sendAndParse<model::GetSitesResult>(apiClient, &sessionCookie,
                                                       get(L"getSites", L"/common/sites/v1"));
}

pplx::task<std::shared_ptr<model::GetCRSResult>> DataExchangeApi::getCrs()
{
    return detail::sendAndParse<model::GetCRSResult>(apiClient, &sessionCookie, get(L"getCrs", L"/common/crs/v1"));
}

pplx::task<std::shared_ptr<model::DownloadGeologicModelResult>>
DataExchangeApi::downloadGeologicModel(std::wstring id, std::wstring format, std::wstring detailLevel, std::wstring crs)
{
    return detail::sendAndParse<model::DownloadGeologicModelResult>(
        apiClient, &sessionCookie,
        download(L"downloadGeologicModel", L"/geology/geologicmodels/v1/{id}", id, format, detailLevel, crs));
}

pplx::task<std::shared_ptr<model::DownloadGeologicFeatureResult>>
DataExchangeApi::downloadGeologicFeature(std::wstring id, std::wstring format, std::wstring detailLevel,
                                         std::wstring crs)
{
    return detail::sendAndParse<model::DownloadGeologicFeatureResult>(
        apiClient, &sessionCookie,
        download(L"downloadGeologicFeature", L"/geology/geologicfeatures/v1/{id}", id, format, detailLevel, crs));
}

pplx::task<std::shared_ptr<model::StartUploadResult>>
DataExchangeApi::startUpload(std::shared_ptr<model::StartUploadCommand> body)
{
    return detail::sendAndParse<model::StartUploadResult>(apiClient, &sessionCookie,
                                                          post(L"startUpload", L"/upload/v1/start", body));
}

pplx::task<void> DataExchangeApi::finishUpload(std::shared_ptr<model::FinishUploadCommand> body)
{
    return detail::send(apiClient, &sessionCookie, post(L"finishUpload", L"/upload/v1/finish", body))
        .then([](const detail::Answer&) {});
}

pplx::task<std::shared_ptr<model::UploadBoreholesResult>>
DataExchangeApi::uploadBoreholes(std::shared_ptr<model::BoreholeUploadCommand> body)
{
    return detail::uploadAndAwait<model::UploadBoreholesResult>(
        {apiClient, &sessionCookie, serviceUrls, &asyncResponseTimeOut},
        post(L"uploadBoreholes", L"/exploration/boreholes/v1", body));
}

pplx::task<std::shared_ptr<model::UploadBoreholeIntervalSetResult>>
DataExchangeApi::uploadBoreholeIntervalSet(std::shared_ptr<model::BoreholeIntervalSetUploadCommand> body)
{
    detail::requireBody(body, L"uploadBoreholeIntervalSet");
    return detail::uploadAndAwait<model::UploadBoreholeIntervalSetResult>(
        {apiClient, &sessionCookie, serviceUrls, &asyncResponseTimeOut},
        post(L"uploadBoreholeIntervalSet", L"/exploration/boreholeintervalsets/v1", body));
}

pplx::task<std::shared_ptr<model::UploadFieldObservationResult>>
DataExchangeApi::uploadFieldObservation(std::shared_ptr<model::FieldObservationUploadCommand> body)
{
    return detail::uploadAndAwait<model::UploadFieldObservationResult>(
        {apiClient, &sessionCookie, serviceUrls, &asyncResponseTimeOut},
        post(L"uploadFieldObservation", L"/exploration/fieldobservations/v1", body));
}

pplx::task<std::shared_ptr<model::UploadGeoResult>>
DataExchangeApi::uploadGeo(std::shared_ptr<model::GeoUploadCommand> body)
{
    detail::requireBody(body, L"uploadGeo");
    return detail::uploadAndAwait<model::UploadGeoResult>(
        {apiClient, &sessionCookie, serviceUrls, &asyncResponseTimeOut},
        post(L"uploadGeo", L"/exploration/geos/v1", body));
}

pplx::task<std::shared_ptr<model::UploadTerrainResult>>
DataExchangeApi::uploadTerrain(std::shared_ptr<model::TerrainUploadCommand> body)
{
    detail::requireBody(body, L"uploadTerrain");
    return detail::uploadAndAwait<model::UploadTerrainResult>(
        {apiClient, &sessionCookie, serviceUrls, &asyncResponseTimeOut},
        post(L"uploadTerrain", L"/exploration/terrains/v1", body));
}

void DataExchangeApi::setAsyncResponseTimeOut(int seconds)
{
    asyncResponseTimeOut.store(seconds, std::memory_order_relaxed);
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
    return asyncResponseTimeOut.load(std::memory_order_relaxed);
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
