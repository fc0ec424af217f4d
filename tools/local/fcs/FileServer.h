#pragma once

#include <tools/local/common/CheckinSlots.h>
#include <tools/local/server/HttpServer.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lithmar::local {

// A file checked in to a stream's slot, as the platform keeps it.
struct StoredFile {
    std::filesystem::path path;
    std::uint64_t size = 0;
    std::string checksum; // XXH64 of the bytes, 16 hex digits
};

// The platform's file server: clients check in the files of an upload
// session, one per slot that /upload/v1/start handed out, with
//
//     POST <basePath>/checkin/<streamId>
//     multipart/form-data: "__fcs__jobTicket" (the slot's ticket), then
//     "my-upload" (the file)
//
// The file streams to disk as it arrives, its size and checksum counted on
// the way; it is never held in memory. The answer is a receipt text
// (JSON), which the data exchange service's /upload/v1/finish compares with
// the one recorded here. Refusals: 404 unknown slot, 403 wrong ticket, 409
// slot checked in already or session finished, 400 a form without the two
// parts or cut short. A refused or interrupted check-in leaves no file.
class FileServer {
public:
    // `directory`: where checked-in files are kept (created when missing);
    // "" for a temporary directory that goes with the server.
    FileServer(std::string basePath, std::string directory, CheckinSlots& slots);
    ~FileServer();

    FileServer(const FileServer&) = delete;
    FileServer& operator=(const FileServer&) = delete;

    // Adds the check-in route to `server`; the file server must outlive it.
    void install(HttpServer& server);

    // The file checked in to `streamId`, or nothing when none was.
    std::optional<StoredFile> storedFile(const std::string& streamId);

    const std::string& basePath() const { return m_basePath; }
    const std::filesystem::path& directory() const { return m_directory; }

private:
    std::unique_ptr<PartSink> sinkFor(const RecordedRequest& head, const std::vector<FormPart>& parts);
    Response checkin(const RecordedRequest& request);

    const std::string m_basePath;
    const bool m_temporary;
    const std::filesystem::path m_directory;
    CheckinSlots& m_slots;
};

} // namespace lithmar::local
