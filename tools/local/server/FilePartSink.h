#pragma once

#include <tools/local/server/PartSink.h>

#include <string>

namespace lithmar::local {

// Writes a part's data straight to a new file, piece by piece as it arrives.
// Dropped before commit(), it deletes the file, so a part cut short leaves
// nothing behind.
class FilePartSink final : public PartSink {
public:
    // Creates `path` (which must not exist yet); throws std::system_error
    // when it cannot.
    explicit FilePartSink(std::string path);
    ~FilePartSink() override;

    FilePartSink(const FilePartSink&) = delete;
    FilePartSink& operator=(const FilePartSink&) = delete;

    void write(std::string_view data) override;
    std::string commit() override;

private:
    std::string m_path;
    int m_fd = -1;
    bool m_committed = false;
};

} // namespace lithmar::local
