#pragma once

#include <tools/local/server/Checksum.h>
#include <tools/local/server/MultipartParser.h>
#include <tools/local/server/PartSink.h>
#include <tools/local/server/RecordedRequest.h>

#include <cstddef>
#include <optional>
#include <string_view>

namespace lithmar::local {

// Records a request body as it streams in: its size, checksum and first
// bytes, and its parts when it is multipart/form-data. Nothing beyond the
// memory limit is kept, so bodies of any size can be received.
class BodyRecorder {
public:
    // `request` must have its headers already; it receives the results and
    // must outlive the recorder. `sinks`, when given, may store parts of a
    // multipart body instead of keeping them in memory.
    BodyRecorder(RecordedRequest& request, std::size_t memoryLimit, std::size_t maxPartHeaderBytes,
                 PartSinkFactory sinks = nullptr);

    void consume(std::string_view piece);
    // `complete`: the body arrived to its end rather than being cut off.
    void finish(bool complete);

private:
    RecordedRequest& m_request;
    std::size_t m_memoryLimit;
    Checksum m_checksum;
    std::optional<MultipartParser> m_multipart;
};

} // namespace lithmar::local
