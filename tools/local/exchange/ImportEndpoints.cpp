// The five import endpoints. Each checks its command against the upload
// session and the site, queues a job for the user who sent it and answers at
// once; the job runner (imports/JobRunner) imports the files later and
// notifies that user.

#include <tools/local/common/RequestError.h>
#include <tools/local/common/SecureRandom.h>
#include <tools/local/common/UtcTime.h>
#include <tools/local/exchange/ExchangeEndpoints.h>
#include <tools/local/exchange/JsonCommand.h>
#include <tools/local/server/AsciiText.h>

namespace lithmar::local::endpoints {
namespace {

std::vector<std::string> streamIdsOf(const ImportKind& kind, const Json& command)
{
    if (kind.singleStream) {
        return {requiredText(command, "fcsStreamId")};
    }
    return requiredStringList(command, "fcsStreamIds");
}

void checkStreams(ExchangeContext& context, const std::string& sessionId, const std::vector<std::string>& streamIds)
{
    const UploadSession session = context.uploadSessionOrNotFound(sessionId);
    for (const std::string& streamId : streamIds) {
        if (!session.hasStream(streamId)) {
            throw RequestError(400, "the stream \"" + streamId + "\" is not part of the upload session \"" + sessionId +
                                        "\"");
        }
    }
}

// The name of the job: required for a new object, optional when the command
// adds to an existing one (whose id it returns through `existingId`).
std::string checkedName(const ImportKind& kind, const Json& command, const std::string& existingId)
{
    if (!kind.named) {
        return {};
    }
    std::string name = optionalString(command, "name");
    if (trimmed(name).empty() && existingId.empty()) {
        throw RequestError(400, std::string("the field \"name\" must name the new ") + kind.what +
                                    (kind.existingIdKey
                                         ? std::string(" (or \"") + kind.existingIdKey + "\" must name an existing one)"
                                         : std::string()));
    }
    return name;
}

void checkExisting(ExchangeContext& context, const ImportKind& kind, const std::string& siteId,
                   const std::string& existingId)
{
    if (existingId.empty()) {
        return;
    }
    const auto object = context.store.sites().object(existingId);
    if (!object || object->kind != kind.existingKind || object->siteId != siteId) {
        throw RequestError(404, std::string("the site \"") + siteId + "\" has no " + kind.what + " with the id \"" +
                                    existingId + "\" (" + kind.existingIdKey + ")");
    }
}

} // namespace

const std::vector<ImportKind>& importKinds()
{
    static const std::vector<ImportKind> kinds{
        {"/exploration/boreholes/v1", "boreholes", "borehole import", false, false, true, nullptr, nullptr},
        {"/exploration/boreholeintervalsets/v1", "boreholeIntervalSet", "borehole interval set", true, true, false,
         nullptr, nullptr},
        {"/exploration/fieldobservations/v1", "fieldObservation", "field observation", false, true, true,
         "existingFieldObservationId", "PointSampleSet"},
        {"/exploration/geos/v1", "geo", "geologic model", false, true, true, "existingGeoId", "GeologicModel"},
        {"/exploration/terrains/v1", "terrain", "terrain", false, true, true, "existingTerrainId", "Terrain"},
    };
    return kinds;
}

Response importFiles(ExchangeContext& context, const RecordedRequest& request, const ImportKind& kind)
{
    const Json command = commandObject(request);
    const std::string sessionId = requiredText(command, "sessionId");
    const auto streamIds = streamIdsOf(kind, command);
    const std::string siteId = requiredText(command, "siteId");
    const std::string existingId = kind.existingIdKey ? optionalString(command, kind.existingIdKey) : "";
    const std::string name = checkedName(kind, command, existingId);
    const std::string crs = kind.hasCrs ? optionalString(command, "crs") : "";
    // Checked for its type only: the job runner decides what each import
    // type means.
    optionalString(command, "importType");

    checkStreams(context, sessionId, streamIds);
    context.siteOrNotFound(siteId);
    if (!crs.empty()) {
        crsOrBadRequest(crs);
    }
    checkExisting(context, kind, siteId, existingId);

    const JobRecord job{"job-" + secureRandomHex(10),
                        kind.job,
                        kJobQueued,
                        siteId,
                        name,
                        sessionId,
                        request.body,
                        utcNow(),
                        context.uploadingUser ? context.uploadingUser(request) : kLocalUser,
                        "",
                        ""};
    if (!context.store.jobs().enqueue(job, context.jobQueueCapacity)) {
        Json full = context.answerHead("QUEUE_FULL");
        full["jobId"] = "QUEUE_FULL";
        return jsonAnswer(200, full);
    }
    if (context.jobQueued) {
        context.jobQueued();
    }
    Json answer = context.answerHead("ACCEPTED");
    answer["jobId"] = job.id;
    return jsonAnswer(200, answer);
}

} // namespace lithmar::local::endpoints
