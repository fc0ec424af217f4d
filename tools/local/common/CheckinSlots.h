#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lithmar::local {

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

// The upload slots that the data exchange service hands out and the file
// server fills. The exchange service keeps them (UploadStore); the file
// server is handed this view of them, so that neither service builds on the
// other's code.
class CheckinSlots {
public:
    virtual ~CheckinSlots() = default;

    virtual std::optional<StreamSlot> slot(const std::string& streamId) = 0;
    // Records the slot's one check-in; false, changing nothing, when the slot
    // was checked in already.
    virtual bool recordCheckin(const CheckedInFile& file) = 0;
    virtual void forgetCheckin(const std::string& streamId) = 0;
    virtual std::optional<CheckedInFile> checkin(const std::string& streamId) = 0;
};

} // namespace lithmar::local
