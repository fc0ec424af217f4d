#pragma once

#include <tools/local/exchange/Database.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lithmar::local {

// One file slot of an upload session.
struct UploadStream {
    std::string id;
    std::string ticket;
    std::string receipt; // "" until the session is finished with one
};

// A set of files that a client uploads to the file server, then names in an
// import command.
struct UploadSession {
    std::string id;
    std::string created;
    std::string finished;              // "" while open
    std::vector<UploadStream> streams; // in slot order

    bool hasStream(const std::string& streamId) const
    {
        for (const UploadStream& stream : streams) {
            if (stream.id == streamId) {
                return true;
            }
        }
        return false;
    }
};

// Where a stream's slot belongs, as the file server checks a check-in.
struct StreamSlot {
    std::string sessionId;
    std::string ticket;
    std::string sessionFinished; // "" while the session is open
};

// A file that the file server received into a stream's slot.
struct CheckedInFile {
    std::string streamId;
    std::string receipt; // the text the file server answered
    std::string path;    // where the file server keeps the bytes
    std::uint64_t size = 0;
    std::string checksum; // XXH64 of the bytes, 16 hex digits
    std::string checkedIn;
};

// The SQL of upload sessions, their streams and the files checked in to them.
class UploadStore {
public:
    explicit UploadStore(Database& database) : m_database(database) {}

    static void createTables(Database::Connection& connection);

    void createSession(const UploadSession& session);
    std::optional<UploadSession> session(const std::string& id);
    // Marks the open session finished at `when` and stores the receipts
    // (stream id -> receipt). False, changing nothing, when it was finished
    // already.
    bool finish(const std::string& sessionId, const std::string& when,
                const std::map<std::string, std::string>& receipts);

    std::optional<StreamSlot> slot(const std::string& streamId);
    // Records the slot's one check-in; false, changing nothing, when the slot
    // was checked in already.
    bool recordCheckin(const CheckedInFile& file);
    void forgetCheckin(const std::string& streamId);
    std::optional<CheckedInFile> checkin(const std::string& streamId);

private:
    Database& m_database;
};

} // namespace lithmar::local
