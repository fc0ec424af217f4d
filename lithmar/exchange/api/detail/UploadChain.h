#pragma once
// The chain that every upload operation runs, written once for all five:
// tracking steps (user, ticket, listener), the upload through the operation
// pipeline, then the decision on the first answer and, for a job that runs
// in the background, the wait for its result.

#include <lithmar/exchange/api/detail/JobWait.h>
#include <lithmar/exchange/api/detail/OperationPipeline.h>
#include <lithmar/exchange/api/detail/UploadTracking.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>

namespace com::vantorel::lithmar::exploration::api::detail {

// What an upload reads from its API object, which must outlive the task.
struct UploadContext {
    std::shared_ptr<ApiClient> apiClient;
    std::wstring* sessionCookie;
    std::map<std::string, std::string> serviceUrls; // copied when the upload is called
    const std::atomic<int32_t>* timeOut;
};

// Turns the first answer of an upload into its final result, in place:
//   - no job identifier, or "QUEUE_FULL" (the service did not take the job):
//     the first answer is final;
//   - a job but nobody to track it for: fails with ApiException 500
//     "Unable to track result via notification.";
//   - otherwise waits for the job's result (see awaitJobResult) and fills
//     `result` from it with fromJson.
LITHMAR_EXCHANGE_EXPORT pplx::task<void> awaitFinalResult(std::shared_ptr<ModelBase> result, bool jobIdIsSet,
                                                          const std::wstring& jobId, const Tracking& tracking,
                                                          const std::atomic<int32_t>& timeOut);

template <typename Result>
pplx::task<std::shared_ptr<Result>> uploadAndAwait(UploadContext context, Operation operation)
{
    requireClient(context.apiClient, operation.name);
    auto tracking = startTracking(context.apiClient, std::move(context.serviceUrls), *context.timeOut);
    return tracking.then([context, operation](const Tracking& tracked) {
        return sendAndParse<Result>(context.apiClient, context.sessionCookie, operation)
            .then([tracked, timeOut = context.timeOut](std::shared_ptr<Result> result) {
                return awaitFinalResult(result, result->jobIdIsSet(), result->getJobId(), tracked, *timeOut)
                    .then([result] { return result; });
            });
    });
}

} // namespace com::vantorel::lithmar::exploration::api::detail
