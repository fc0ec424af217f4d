#include <tools/local/fcs/FileServer.h>

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/common/RequestError.h>
#include <tools/local/common/SafeAnswer.h>
#include <tools/local/common/SecureRandom.h>
#include <tools/local/common/UtcTime.h>
#include <tools/local/server/FilePartSink.h>

#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace lithmar::local {
namespace {

constexpr const char* kTicketPart = "__fcs__jobTicket";
constexpr const char* kFilePart = "my-upload";
constexpr const char* kIncomingPrefix = ".incoming-";

std::filesystem::path makeDirectory(const std::string& directory)
{
    if (directory.empty()) {
        std::string pattern = (std::filesystem::temp_directory_path() / "lithmar-files-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            throw std::system_error(errno, std::generic_category(), "cannot create a temporary directory for files");
        }
        return pattern;
    }
    std::filesystem::create_directories(directory);
    return directory;
}

const FormPart* partNamed(const std::vector<FormPart>& parts, const char* name)
{
    for (const FormPart& part : parts) {
        if (part.name == name) {
            return &part;
        }
    }
    return nullptr;
}

std::string hex16(std::uint64_t value)
{
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
    return text;
}

// Throws the refusal that a check-in into `slot` gets, judged on what the
// form carried so far; `ticketPart` may not have arrived yet.
void checkSlot(const std::string& streamId, const std::optional<StreamSlot>& slot, const FormPart* ticketPart)
{
    if (!slot) {
        throw RequestError(404, "there is no check-in slot \"" + streamId +
                                    "\"; slots come from /upload/v1/start, as fcsFileUrl");
    }
    if (!slot->sessionFinished.empty()) {
        throw RequestError(409, "the upload session \"" + slot->sessionId + "\" of slot \"" + streamId +
                                    "\" was finished at " + slot->sessionFinished +
                                    "; open a new session for more files");
    }
    if (ticketPart && ticketPart->data != slot->ticket) {
        throw RequestError(403, "the job ticket does not match the slot \"" + streamId +
                                    "\"; send the fcsFileTicket that came with its fcsFileUrl");
    }
}

} // namespace

FileServer::FileServer(std::string basePath, std::string directory, CheckinSlots& slots)
    : m_basePath(std::move(basePath)), m_temporary(directory.empty()), m_directory(makeDirectory(directory)),
      m_slots(slots)
{
}

FileServer::~FileServer()
{
    if (m_temporary) {
        std::error_code ignored;
        std::filesystem::remove_all(m_directory, ignored);
    }
}

void FileServer::install(HttpServer& server)
{
    const std::string pattern = m_basePath + "/checkin/{streamId}";
    server.storeParts("POST", pattern, [this](const RecordedRequest& head, const std::vector<FormPart>& parts) {
        return sinkFor(head, parts);
    });
    server.route("POST", pattern, [this](const RecordedRequest& request) {
        return answerSafely([this](const RecordedRequest& r) { return checkin(r); }, request);
    });
}

std::unique_ptr<PartSink> FileServer::sinkFor(const RecordedRequest& head, const std::vector<FormPart>& parts)
{
    if (parts.back().name != kFilePart || partNamed(parts, kFilePart) != &parts.back()) {
        return nullptr;
    }
    // Only a file that may be accepted goes to disk; the handler answers the
    // refusal of any other once the body is in.
    const std::string& streamId = head.params.at("streamId");
    try {
        checkSlot(streamId, m_slots.slot(streamId), partNamed(parts, kTicketPart));
    } catch (const RequestError&) {
        return nullptr;
    }
    if (m_slots.checkin(streamId)) {
        return nullptr;
    }
    return std::make_unique<FilePartSink>((m_directory / (kIncomingPrefix + secureRandomHex(12))).string());
}

Response FileServer::checkin(const RecordedRequest& request)
{
    const std::string& streamId = request.params.at("streamId");
    const std::optional<StreamSlot> slot = m_slots.slot(streamId);
    checkSlot(streamId, slot, nullptr);
    if (!request.multipartError.empty()) {
        throw RequestError(400, "the check-in form of slot \"" + streamId + "\" is incomplete or malformed (" +
                                    request.multipartError + "); send it again whole");
    }
    const FormPart* ticket = partNamed(request.parts, kTicketPart);
    const FormPart* file = partNamed(request.parts, kFilePart);
    if (!ticket || !file) {
        throw RequestError(400, std::string("a check-in form needs the parts \"") + kTicketPart + "\" and \"" +
                                    kFilePart + "\"; this one lacks \"" + (ticket ? kFilePart : kTicketPart) + "\"");
    }
    checkSlot(streamId, slot, ticket);
    if (const auto earlier = m_slots.checkin(streamId)) {
        throw RequestError(409, "the slot \"" + streamId + "\" was checked in at " + earlier->checkedIn +
                                    "; each slot takes one file, start a new upload session to send it again");
    }
    if (file->storedAt.empty()) {
        throw std::logic_error("the file of slot \"" + streamId + "\" was not stored while it arrived");
    }

    CheckedInFile record{streamId, "", (m_directory / streamId).string(), file->size, hex16(file->checksum), utcNow()};
    const Json receipt{{"fcsStreamId", streamId},
                       {"receiptId", secureRandomHex(16)},
                       {"size", record.size},
                       {"checksum", record.checksum},
                       {"checkedIn", record.checkedIn}};
    record.receipt = jsonText(receipt);
    // The record claims the slot; only its claimer moves a file to the
    // slot's name, so two check-ins racing for a slot cannot mix their files.
    if (!m_slots.recordCheckin(record)) {
        throw RequestError(409, "the slot \"" + streamId + "\" was checked in meanwhile by another request");
    }
    std::error_code moveError;
    std::filesystem::rename(file->storedAt, record.path, moveError);
    if (moveError) {
        m_slots.forgetCheckin(streamId);
        throw std::runtime_error("cannot keep the file of slot \"" + streamId + "\" in " + record.path + ": " +
                                 moveError.message());
    }
    return jsonAnswer(200, receipt);
}

std::optional<StoredFile> FileServer::storedFile(const std::string& streamId)
{
    const auto record = m_slots.checkin(streamId);
    if (!record) {
        return std::nullopt;
    }
    return StoredFile{record->path, record->size, record->checksum};
}

} // namespace lithmar::local
