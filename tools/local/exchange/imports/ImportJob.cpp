#include <tools/local/exchange/imports/ImportJob.h>

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/common/UtcTime.h>
#include <tools/local/exchange/imports/ImportError.h>
#include <tools/local/exchange/imports/SiteImport.h>

namespace lithmar::local::imports {
namespace {

SiteWrite prepare(const ImportCommand& command, const std::vector<SourceFile>& files)
{
    if (command.kind == "boreholes") {
        return prepareBoreholes(command, files);
    }
    if (command.kind == "boreholeIntervalSet") {
        return prepareIntervalSet(command, files);
    }
    if (command.kind == "fieldObservation") {
        return prepareFieldObservations(command, files);
    }
    if (command.kind == "geo") {
        return prepareGeologicModel(command, files);
    }
    if (command.kind == "terrain") {
        return prepareTerrain(command, files);
    }
    throw ImportError("the job is of an unknown kind \"" + command.kind + "\"");
}

// The keys of each kind's result after "result" and "trackingNumber", in
// the order the client's result models write them.
std::vector<std::pair<const char*, std::string ImportOutcome::*>> resultFields(const std::string& kind)
{
    if (kind == "boreholes") {
        return {{"count", &ImportOutcome::count}, {"jobId", nullptr}, {"timing", &ImportOutcome::timing}};
    }
    if (kind == "boreholeIntervalSet") {
        return {{"count", &ImportOutcome::count}, {"jobId", nullptr}};
    }
    if (kind == "fieldObservation") {
        return {{"id", &ImportOutcome::id}, {"jobId", nullptr}};
    }
    return {{"id", &ImportOutcome::id},
            {"modificationDate", &ImportOutcome::modificationDate},
            {"size", &ImportOutcome::size},
            {"jobId", nullptr}};
}

std::string resultPayload(const JobRecord& job, const std::string& result, const std::string& trackingNumber,
                          const ImportOutcome* outcome)
{
    Json payload{{"result", result}, {"trackingNumber", trackingNumber}};
    for (const auto& [key, field] : resultFields(job.kind)) {
        if (field == nullptr) {
            payload[key] = job.id;
        } else if (outcome != nullptr) {
            payload[key] = outcome->*field;
        }
    }
    return jsonText(payload);
}

} // namespace

std::string carryOut(const JobRecord& job, ExchangeStore& store, const StoredFileLookup& storedFile,
                     TrackingNumbers& trackingNumbers)
{
    const std::string trackingNumber = trackingNumbers.next();
    std::string failure;
    try {
        const ImportCommand command = importCommandOf(job);
        const SiteWrite write = prepare(command, readSourceFiles(command.streamIds, storedFile));

        auto connection = store.database().connect();
        Transaction transaction(connection);
        SiteStore::Edit site(connection, command.siteId);
        auto record = site.site();
        if (!record) {
            throw ImportError("the site " + command.siteId + " was deleted after the import was accepted; " +
                              "nothing was imported");
        }
        ImportTarget target{site, *record, command.crs.empty() ? record->crs : command.crs, utcNow()};
        const ImportOutcome outcome = write(target);
        site.touchSite(target.now);
        const std::string payload = resultPayload(job, kImportSucceeded, trackingNumber, &outcome);
        JobStore::finish(connection, job.id, kJobDone, payload, target.now);
        transaction.commit();
        return payload;
    } catch (const ImportError& e) {
        failure = e.what();
    } catch (const std::exception& e) {
        failure = std::string("lithmar-local failed while importing (") + e.what() +
                  "); nothing was imported. This is a fault of the platform: please report it";
    }
    const std::string payload = resultPayload(job, kImportFailedPrefix + failure, trackingNumber, nullptr);
    auto connection = store.database().connect();
    JobStore::finish(connection, job.id, kJobFailed, payload, utcNow());
    return payload;
}

} // namespace lithmar::local::imports
