#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lithmar::local::imports {

// Where the file server keeps the file checked in for a stream; nullopt
// when the stream has none.
using StoredFileLookup = std::function<std::optional<std::filesystem::path>(const std::string& streamId)>;

// One checked-in file of an import, read whole: the files of an import are
// a developer's samples, and an import reads each of them through anyway.
struct SourceFile {
    std::string streamId;
    std::string fileName;
    std::string text; // UTF-8, without a byte order mark

    // "collars.csv (stream fcs-1f...)", or "stream fcs-1f..." for a file
    // named after its stream, for messages.
    std::string label() const;
};

// Files above this size are refused rather than read into memory.
inline constexpr std::uintmax_t kMaxSourceFileBytes = 256u << 20;

// The files of `streamIds`, in order. Throws ImportError when a stream has
// no checked-in file, a file cannot be read, is too large or is not UTF-8.
std::vector<SourceFile> readSourceFiles(const std::vector<std::string>& streamIds, const StoredFileLookup& lookup);

} // namespace lithmar::local::imports
