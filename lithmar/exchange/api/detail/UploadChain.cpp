#include <lithmar/exchange/api/detail/UploadChain.h>

#include <lithmar/exchange/notification/PendingResults.h>
#include <lithmar/runtime/ApiException.h>

namespace com::vantorel::lithmar::exploration::api::detail {
namespace {

// How the service says that it did not take the job: no notification follows.
const std::wstring kQueueFull = L"QUEUE_FULL";

// One look in the pending-results table; the lock is held through the
// model's fromJson so that the entry is read and erased as one step.
bool takeFiledResult(const std::wstring& jobId, ModelBase& result)
{
    PendingResults table;
    if (!table.contains(jobId)) {
        return false;
    }
    web::json::value data = table.at(jobId);
    result.fromJson(data);
    table.erase(jobId);
    return true;
}

} // namespace

pplx::task<void> awaitFinalResult(std::shared_ptr<ModelBase> result, bool jobIdIsSet, const std::wstring& jobId,
                                  const Tracking& tracking, const std::atomic<int32_t>& timeOut)
{
    if (!jobIdIsSet || jobId == kQueueFull) {
        return pplx::task_from_result();
    }
    if (!tracking.canTrack()) {
        return pplx::task_from_exception<void>(ApiException(500, L"Unable to track result via notification."));
    }
    return awaitJobResult(timeOut, [result, jobId] { return takeFiledResult(jobId, *result); });
}

} // namespace com::vantorel::lithmar::exploration::api::detail
