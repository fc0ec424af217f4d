#pragma once

#include <tools/local/server/BoundaryFinder.h>
#include <tools/local/server/Checksum.h>
#include <tools/local/server/PartSink.h>
#include <tools/local/server/RecordedRequest.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local {

// Takes a multipart/form-data body apart as it streams in, in pieces cut
// anywhere (a delimiter or a part header may straddle two pieces). Part data
// is counted and checksummed; only its first `dataMemoryLimit` bytes are
// kept. On malformed input it records what was wrong and ignores the rest.
class MultipartParser {
public:
    // Chooses, for each part as its headers end, a sink for its data (given
    // the parts so far, the new one last), or nullptr to keep it in memory.
    using SinkChooser = std::function<std::unique_ptr<PartSink>(const std::vector<FormPart>& parts)>;

    MultipartParser(std::string_view boundary, std::size_t dataMemoryLimit, std::size_t maxPartHeaderBytes,
                    SinkChooser chooseSink = nullptr);

    void feed(std::string_view piece);
    // The body has ended: anything but a closing delimiter before is an error.
    void finish();

    // The parts seen so far, the last possibly unfinished when error() is set.
    std::vector<FormPart>& parts() { return m_parts; }
    // What was wrong with the body; "" when it was well-formed.
    const std::string& error() const { return m_error; }

private:
    enum class State {
        Preamble,      // before the first delimiter; the text is ignored
        DelimiterLine, // after a delimiter: "--" (the last) or CRLF
        PartHeaders,   // header lines up to an empty line
        PartData,      // data up to the next delimiter
        Epilogue,      // after the closing delimiter; the text is ignored
        Failed,
    };

    std::size_t scanData(std::string_view piece);
    std::size_t scanDelimiterLine(std::string_view piece);
    std::size_t scanPartHeaders(std::string_view piece);
    void onDelimiter();
    void parsePartHeaders();
    void appendData(std::string_view data);
    void fail(std::string message);
    std::string currentPartName() const;

    BoundaryFinder m_finder;
    std::size_t m_dataMemoryLimit;
    std::size_t m_maxPartHeaderBytes;

    State m_state = State::Preamble;
    // How many bytes of the delimiter ended the previous piece. The body
    // starts as if after a CRLF so that a first line "--boundary" matches.
    std::size_t m_matched = 2;
    std::string m_pending; // the delimiter line or the part headers so far
    std::vector<FormPart> m_parts;
    Checksum m_partChecksum;
    std::string m_error;
    SinkChooser m_chooseSink;
    std::unique_ptr<PartSink> m_sink; // of the part being read, when it has one
};

} // namespace lithmar::local
