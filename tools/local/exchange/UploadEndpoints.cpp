// The upload session endpoints: a client opens a session with one file slot
// per file, sends the files to the file server, then closes the session with
// the file server's receipts.

#include <tools/local/common/RequestError.h>
#include <tools/local/common/SecureRandom.h>
#include <tools/local/common/UtcTime.h>
#include <tools/local/exchange/ExchangeEndpoints.h>
#include <tools/local/exchange/JsonCommand.h>
#include <tools/local/exchange/ServicePaths.h>

#include <map>

namespace lithmar::local::endpoints {
namespace {

constexpr std::int64_t kMaxFilesPerUpload = 1000;

// The host the client reached, for URLs it will follow: the Host header when
// it looks like a host (name, IPv4 or [IPv6], optional port), otherwise the
// address the connection came in on.
std::string reachedHost(const RecordedRequest& request)
{
    const std::string host = request.header("Host");
    const bool plausible =
        !host.empty() && host.size() <= 255 &&
        host.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-:[]") ==
            std::string::npos;
    return plausible ? host : request.localAddress;
}

std::map<std::string, std::string> receiptsOf(const Json& command)
{
    const Json& list = requiredArray(command, "fcsReceipts");
    if (list.empty()) {
        throw RequestError(400, "the field \"fcsReceipts\" must hold one receipt per uploaded file, not none");
    }
    std::map<std::string, std::string> receipts;
    for (const Json& entry : list) {
        if (!entry.is_object()) {
            throw RequestError(400, "every entry of \"fcsReceipts\" must be an object with \"fcsStreamId\" and "
                                    "\"fcsReciept\"; one is " +
                                        jsonText(entry));
        }
        // "fcsReciept" is spelled so on the wire.
        std::string streamId = requiredText(entry, "fcsStreamId");
        std::string receipt = requiredText(entry, "fcsReciept");
        if (!receipts.emplace(streamId, std::move(receipt)).second) {
            throw RequestError(400, "the stream \"" + streamId + "\" has two receipts; send one per stream");
        }
    }
    return receipts;
}

} // namespace

Response startUpload(ExchangeContext& context, const RecordedRequest& request)
{
    const Json command = commandObject(request);
    const std::int64_t files = requiredInteger(command, "numberOfFiles", 1, kMaxFilesPerUpload);
    const std::string checkInBase =
        context.scheme + "://" + reachedHost(request) +
        siblingPath(context.basePath, service_suffix::kExchange, service_suffix::kFileServer) + "/checkin/";
    UploadSession session{"upl-" + secureRandomHex(12), utcNow(), "", {}};
    Json slots = Json::array();
    for (std::int64_t i = 0; i < files; ++i) {
        UploadStream stream{"fcs-" + secureRandomHex(12), secureRandomHex(20), ""};
        slots.push_back(
            {{"fcsStreamId", stream.id}, {"fcsFileUrl", checkInBase + stream.id}, {"fcsFileTicket", stream.ticket}});
        session.streams.push_back(std::move(stream));
    }
    context.store.uploads().createSession(session);
    return jsonAnswer(200, Json{{"sessionId", session.id}, {"fcsFiles", std::move(slots)}});
}

Response finishUpload(ExchangeContext& context, const RecordedRequest& request)
{
    const Json command = commandObject(request);
    const std::string sessionId = requiredText(command, "sessionId");
    const auto receipts = receiptsOf(command);
    const UploadSession session = context.uploadSessionOrNotFound(sessionId);
    if (!session.finished.empty()) {
        throw RequestError(409, "the upload session \"" + sessionId + "\" was finished at " + session.finished +
                                    "; open a new one for more files");
    }
    for (const auto& [streamId, receipt] : receipts) {
        if (!session.hasStream(streamId)) {
            throw RequestError(400, "the stream \"" + streamId + "\" is not part of the upload session \"" + sessionId +
                                        "\"; use the fcsStreamIds that /upload/v1/start gave");
        }
        // The file server's receipt, word for word, is the proof that the
        // file arrived.
        const auto checkedIn = context.store.uploads().checkin(streamId);
        if (!checkedIn) {
            throw RequestError(400, "the stream \"" + streamId +
                                        "\" was never checked in to the file server; check its file in first");
        }
        if (checkedIn->receipt != receipt) {
            throw RequestError(400, "the receipt of stream \"" + streamId +
                                        "\" is not the one the file server gave; send its answer unchanged");
        }
    }
    if (!context.store.uploads().finish(sessionId, utcNow(), receipts)) {
        throw RequestError(409, "the upload session \"" + sessionId + "\" was finished meanwhile by another request");
    }
    // 204 carries neither body nor Content-Type.
    return Response{204, "", {}, ""};
}

} // namespace lithmar::local::endpoints
