#include "ImportCommand.h"

#include "Failure.h"
#include "Table.h"
#include "UploadSession.h"
#include "WaitIndicator.h"

#include <lithmar/runtime/Utf8.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;
namespace model = lithmar::exploration::model;
using lithmar::fromUtf8;
using lithmar::toUtf8;
using lithmar::exploration::api::DataExchangeApi;

using AnyResult = std::shared_ptr<lithmar::ModelBase>;

struct CheckedIn {
    std::wstring sessionId;
    std::vector<std::wstring> streamIds;
    std::vector<std::shared_ptr<model::FcsReceipt>> receipts;
};

struct UploadKind {
    const char* name;
    const char* what; // for messages: "the boreholes import"
    std::function<pplx::task<AnyResult>(DataExchangeApi&, const UploadRequest&, const CheckedIn&)> send;
};

template <typename Command> std::shared_ptr<Command> commandFor(const UploadRequest& request, const CheckedIn& files)
{
    auto command = std::make_shared<Command>();
    command->setSessionId(files.sessionId);
    command->setSiteId(fromUtf8(request.siteId));
    command->setImportType(fromUtf8(request.importType.empty() ? "CREATE" : request.importType));
    return command;
}

std::wstring nameOf(const UploadRequest& request)
{
    return fromUtf8(request.name.empty() ? std::filesystem::path(request.files.front()).stem().string() : request.name);
}

// The imports of one or more files into a new named object.
template <typename Command>
std::shared_ptr<Command> namedCommandFor(const UploadRequest& request, const CheckedIn& files)
{
    auto command = commandFor<Command>(request, files);
    command->getFcsStreamIds() = files.streamIds;
    command->setName(nameOf(request));
    if (!request.crs.empty()) {
        command->setCrs(fromUtf8(request.crs));
    }
    return command;
}

template <typename Result> pplx::task<AnyResult> asAny(pplx::task<std::shared_ptr<Result>> task)
{
    return task.then([](std::shared_ptr<Result> result) { return AnyResult(std::move(result)); });
}

const std::vector<UploadKind>& kinds()
{
    static const std::vector<UploadKind> table{
        {"boreholes", "the boreholes import",
         [](DataExchangeApi& api, const UploadRequest& request, const CheckedIn& files) {
             auto command = commandFor<model::BoreholeUploadCommand>(request, files);
             command->getFcsStreamIds() = files.streamIds;
             if (!request.crs.empty()) {
                 command->setCrs(fromUtf8(request.crs));
             }
             return asAny(api.uploadBoreholes(command));
         }},
        {"intervals", "the interval set import",
         [](DataExchangeApi& api, const UploadRequest& request, const CheckedIn& files) {
             auto command = commandFor<model::BoreholeIntervalSetUploadCommand>(request, files);
             command->setFcsStreamId(files.streamIds.front());
             command->setName(nameOf(request));
             return asAny(api.uploadBoreholeIntervalSet(command));
         }},
        {"observations", "the field observation import",
         [](DataExchangeApi& api, const UploadRequest& request, const CheckedIn& files) {
             return asAny(
                 api.uploadFieldObservation(namedCommandFor<model::FieldObservationUploadCommand>(request, files)));
         }},
        {"geo", "the geological object import",
         [](DataExchangeApi& api, const UploadRequest& request, const CheckedIn& files) {
             return asAny(api.uploadGeo(namedCommandFor<model::GeoUploadCommand>(request, files)));
         }},
        {"terrain", "the terrain import",
         [](DataExchangeApi& api, const UploadRequest& request, const CheckedIn& files) {
             return asAny(api.uploadTerrain(namedCommandFor<model::TerrainUploadCommand>(request, files)));
         }},
    };
    return table;
}

const UploadKind& kindNamed(const std::string& name)
{
    const auto& table = kinds();
    const auto kind = std::find_if(table.begin(), table.end(), [&](const UploadKind& k) { return name == k.name; });
    if (kind == table.end()) {
        throw std::invalid_argument("no upload of kind \"" + name + "\"");
    }
    return *kind;
}

void checkFiles(const UploadRequest& request)
{
    if (request.files.empty()) {
        throw std::invalid_argument("name at least one file to upload");
    }
    if (request.kind == "intervals" && request.files.size() != 1) {
        throw std::invalid_argument("an interval set is imported from exactly one file; upload each file by itself");
    }
    for (const auto& file : request.files) {
        if (!std::filesystem::is_regular_file(file)) {
            throw std::invalid_argument("cannot read \"" + file + "\": no such file");
        }
    }
}

// What the import commands need of the session.
CheckedIn checkedIn(const UploadSession& session)
{
    return {session.id(), session.streamIds(), session.receipts()};
}

// The result's words when the import did not succeed: the service refused
// the job (QUEUE_FULL), or the result is final and not SUCCESS. A result not
// awaited (negative --timeout) is only the service's receipt of the job.
std::optional<std::string> failureIn(const AnyResult& result, const UploadRequest& request)
{
    const web::json::value json = result->toJson();
    const auto text = [&json](const char* key) {
        return json.has_string_field(key) ? json.at(key).as_string() : std::string();
    };
    if (text("jobId") == "QUEUE_FULL") {
        return "QUEUE_FULL: the service's queue of imports is full; try again later";
    }
    const bool awaited = !request.timeOutSeconds || *request.timeOutSeconds >= 0;
    if ((json.has_field("jobId") && !awaited) || text("result") == "SUCCESS") {
        return std::nullopt;
    }
    return text("result").empty() ? "the service's answer has no result" : text("result");
}

void printResult(const AnyResult& result, Output output)
{
    const web::json::value json = result->toJson();
    if (output.json) {
        output.out << json.serialize() << '\n';
        return;
    }
    Table fields({"FIELD", "VALUE"});
    for (const auto& field : json.as_object()) {
        fields.add({field.first, field.second.is_string() ? field.second.as_string() : field.second.serialize()});
    }
    fields.print(output.out);
}

// Waits for the import's result: a spinner on a terminal, Ctrl+C stops
// waiting.
AnyResult awaitImport(DataExchangeApi& api, const UploadKind& kind, pplx::task<AnyResult> pending, std::ostream& err,
                      bool terminal)
{
    if (showWhileWaiting([&] { return pending.is_done(); }, kind.what + std::string("'s result"), err, terminal) ==
        WaitEnd::Interrupted) {
        // A negative time-out ends the wait at its next look, so the task
        // settles within a second and nothing outlives the API object.
        api.setAsyncResponseTimeOut(-1);
        try {
            pending.wait();
        } catch (...) {
            // However it ended, the user asked not to hear of it.
        }
        throw Interrupted{kind.what};
    }
    return pending.get();
}

} // namespace

const std::vector<std::string>& uploadKinds()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list;
        for (const auto& kind : kinds()) {
            list.emplace_back(kind.name);
        }
        return list;
    }();
    return names;
}

void upload(DataExchangeApi& api, const UploadRequest& request, Output output, std::ostream& err, bool terminal)
{
    const UploadKind& kind = kindNamed(request.kind);
    checkFiles(request);
    if (request.timeOutSeconds) {
        api.setAsyncResponseTimeOut(*request.timeOutSeconds);
    }

    // A site that is not there fails here, before any file goes out.
    api.getSite(fromUtf8(request.siteId)).get();

    // With --json, stderr is kept for the one failure object scripts parse.
    std::ostringstream quiet;
    std::ostream& progress = output.json ? quiet : err;
    terminal = terminal && !output.json;

    UploadSession session(api, request.files);
    AnyResult result;
    try {
        session.checkIn(progress, terminal);
        result = awaitImport(api, kind, kind.send(api, request, checkedIn(session)), progress, terminal);
        session.finish();
    } catch (...) {
        session.closeAndRethrow();
    }
    printResult(result, output);
    if (const auto failure = failureIn(result, request)) {
        throw FailedImport{kind.what, *failure};
    }
}

} // namespace lithmar::xchng
