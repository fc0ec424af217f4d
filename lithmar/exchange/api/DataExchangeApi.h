#pragma once

#include <lithmar/exchange/lithmar_exchange_export.h>
#include <lithmar/exchange/model/BoreholeIntervalSetUploadCommand.h>
#include <lithmar/exchange/model/BoreholeUploadCommand.h>
#include <lithmar/exchange/model/CreateSiteResult.h>
#include <lithmar/exchange/model/DownloadGeologicFeatureResult.h>
#include <lithmar/exchange/model/DownloadGeologicModelResult.h>
#include <lithmar/exchange/model/FieldObservationUploadCommand.h>
#include <lithmar/exchange/model/FinishUploadCommand.h>
#include <lithmar/exchange/model/GeoUploadCommand.h>
#include <lithmar/exchange/model/GetCRSResult.h>
#include <lithmar/exchange/model/GetSiteResult.h>
#include <lithmar/exchange/model/GetSitesResult.h>
#include <lithmar/exchange/model/SiteCreateCommand.h>
#include <lithmar/exchange/model/StartUploadCommand.h>
#include <lithmar/exchange/model/StartUploadResult.h>
#include <lithmar/exchange/model/TerrainUploadCommand.h>
#include <lithmar/exchange/model/UploadBoreholeIntervalSetResult.h>
#include <lithmar/exchange/model/UploadBoreholesResult.h>
#include <lithmar/exchange/model/UploadFieldObservationResult.h>
#include <lithmar/exchange/model/UploadGeoResult.h>
#include <lithmar/exchange/model/UploadTerrainResult.h>
#include <lithmar/exchange/session/GetVM.h>
#include <lithmar/runtime/ApiClient.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace com::vantorel::lithmar::exploration::api {

// The one object through which a host application talks to the data
// exchange service: thirteen asynchronous operations, each a task that yields
// its typed result or fails with ApiException (code = HTTP status, or 400/415
// for requests that cannot be built, 500 for answers of the wrong kind).
// Faults found before anything is sent (a missing required body) are thrown
// from the call itself; transport failures and unparsable answers fail the
// task with the exception of cpprestsdk or the JSON parser. It shares its
// ApiClient with the host and with every pending operation, and keeps the
// session cookies that the service hands out. Pending operations refer to the
// object by plain pointer: keep it alive until every task it returned has
// completed, and configure it before use (nothing in it is locked but the
// time-out).
//
// The five uploads complete with their job's final result: before sending
// they get the current user and a login ticket from the platform's sibling
// services (found through setServiceUrls or the base URL) and start the
// process-wide notification listener; after a first answer that names a job
// they look for the job's result once a second, up to
// setAsyncResponseTimeOut seconds (ApiException 408 "Timeout waiting for
// response." then; 0 fails at once, a negative value keeps the first answer).
// A first answer without a job, or with the job "QUEUE_FULL", is final. A job
// that cannot be tracked (no user or no ticket) fails with ApiException 500
// "Unable to track result via notification.". The waits hold no thread.
class LITHMAR_EXCHANGE_EXPORT DataExchangeApi {
public:
    explicit DataExchangeApi(std::shared_ptr<ApiClient> apiClient);
    DataExchangeApi(const DataExchangeApi& other);
    DataExchangeApi& operator=(const DataExchangeApi& other);
    virtual ~DataExchangeApi();

    // Seconds an upload waits for its result notification. Uploads that are
    // waiting already see the new value at their next look.
    void setAsyncResponseTimeOut(int seconds);
    // The platform's service URLs by service key; replaces the whole map.
    void setServiceUrls(std::map<std::string, std::string> serviceUrls);

    pplx::task<std::shared_ptr<model::CreateSiteResult>> createSite(std::shared_ptr<model::SiteCreateCommand> body);
    pplx::task<std::shared_ptr<model::GetSiteResult>> getSite(std::wstring id);
    // Opens the session with a GET of the sites path first, then lists the sites.
    pplx::task<std::shared_ptr<model::GetSitesResult>> getSites();
    pplx::task<std::shared_ptr<model::GetCRSResult>> getCrs();
    pplx::task<std::shared_ptr<model::DownloadGeologicModelResult>>
    downloadGeologicModel(std::wstring id, std::wstring format, std::wstring detailLevel, std::wstring crs);
    pplx::task<std::shared_ptr<model::DownloadGeologicFeatureResult>>
    downloadGeologicFeature(std::wstring id, std::wstring format, std::wstring detailLevel, std::wstring crs);
    pplx::task<std::shared_ptr<model::StartUploadResult>> startUpload(std::shared_ptr<model::StartUploadCommand> body);
    pplx::task<void> finishUpload(std::shared_ptr<model::FinishUploadCommand> body);
    pplx::task<std::shared_ptr<model::UploadBoreholesResult>>
    uploadBoreholes(std::shared_ptr<model::BoreholeUploadCommand> body);
    pplx::task<std::shared_ptr<model::UploadBoreholeIntervalSetResult>>
    uploadBoreholeIntervalSet(std::shared_ptr<model::BoreholeIntervalSetUploadCommand> body);
    pplx::task<std::shared_ptr<model::UploadFieldObservationResult>>
    uploadFieldObservation(std::shared_ptr<model::FieldObservationUploadCommand> body);
    pplx::task<std::shared_ptr<model::UploadGeoResult>> uploadGeo(std::shared_ptr<model::GeoUploadCommand> body);
    pplx::task<std::shared_ptr<model::UploadTerrainResult>>
    uploadTerrain(std::shared_ptr<model::TerrainUploadCommand> body);

    std::shared_ptr<ApiClient> getApiClient() const;
    int32_t getAsyncResponseTimeOut() const;
    const std::wstring& getSessionCookie() const;
    const std::map<std::string, std::string>& getServiceUrls() const;

protected:
    pplx::task<std::shared_ptr<model::GetSitesResult>> listSites();

    std::shared_ptr<ApiClient> apiClient;
    // Atomic because waiting uploads read it on the task pool while the host
    // may set it.
    std::atomic<int32_t> asyncResponseTimeOut;
    std::wstring sessionCookie;
    std::map<std::string, std::string> serviceUrls;
};

} // namespace com::vantorel::lithmar::exploration::api
