#pragma once

#include <tools/local/common/CheckinSlots.h>
#include <tools/local/exchange/Database.h>

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

// The SQL of upload sessions, their streams and the files checked in to them.
class UploadStore : public CheckinSlots {
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

    std::optional<StreamSlot> slot(const std::string& streamId) override;
    bool recordCheckin(const CheckedInFile& file) override;
    void forgetCheckin(const std::string& streamId) override;
    std::optional<CheckedInFile> checkin(const std::string& streamId) override;

private:
    Database& m_database;
};

} // namespace lithmar::local
