#include <tools/local/server/MultipartParser.h>

#include <tools/local/server/AsciiText.h>
#include <tools/local/server/HeaderParameters.h>

#include <algorithm>
#include <cstring>
#include <exception>

namespace lithmar::local {
namespace {

// Past this a "delimiter line" is not one: the boundary only matched the
// beginning of a longer line.
constexpr std::size_t kMaxDelimiterLineBytes = 256;

bool endsWith(std::string_view text, std::string_view tail)
{
    return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

} // namespace

MultipartParser::MultipartParser(std::string_view boundary, std::size_t dataMemoryLimit, std::size_t maxPartHeaderBytes,
                                 SinkChooser chooseSink)
    : m_finder("\r\n--" + std::string(boundary)), m_dataMemoryLimit(dataMemoryLimit),
      m_maxPartHeaderBytes(maxPartHeaderBytes), m_chooseSink(std::move(chooseSink))
{
    if (boundary.empty() || boundary.find_first_of("\r\n") != std::string_view::npos) {
        fail("invalid multipart boundary \"" + printable(boundary) + "\"");
    }
}

void MultipartParser::feed(std::string_view piece)
{
    while (!piece.empty()) {
        std::size_t used = 0;
        switch (m_state) {
        case State::Preamble:
        case State::PartData: used = scanData(piece); break;
        case State::DelimiterLine: used = scanDelimiterLine(piece); break;
        case State::PartHeaders: used = scanPartHeaders(piece); break;
        case State::Epilogue:
        case State::Failed: return;
        }
        piece.remove_prefix(used);
    }
}

std::size_t MultipartParser::scanData(std::string_view piece)
{
    const std::string& delimiter = m_finder.delimiter();
    if (m_matched > 0) {
        // The previous piece ended with the start of a delimiter: see whether
        // this one completes it.
        const std::size_t wanted = delimiter.size() - m_matched;
        const std::size_t available = std::min(wanted, piece.size());
        if (std::memcmp(piece.data(), delimiter.data() + m_matched, available) == 0) {
            if (available < wanted) {
                m_matched += available;
                return available;
            }
            m_matched = 0;
            onDelimiter();
            return available;
        }
        // It was data after all. No delimiter can start inside those bytes
        // either, as only their first byte is a CR.
        appendData(std::string_view(delimiter.data(), m_matched));
        m_matched = 0;
    }
    const std::size_t found = m_finder.find(piece);
    if (found != std::string_view::npos) {
        appendData(piece.substr(0, found));
        onDelimiter();
        return found + delimiter.size();
    }
    const std::size_t partial = m_finder.partialAtEnd(piece);
    appendData(piece.substr(0, partial));
    m_matched = piece.size() - partial;
    return piece.size();
}

void MultipartParser::onDelimiter()
{
    if (m_sink) {
        try {
            m_parts.back().storedAt = m_sink->commit();
        } catch (const std::exception& failure) {
            fail("part " + std::to_string(m_parts.size()) + " could not be stored: " + failure.what());
            return;
        }
        m_sink.reset();
    }
    m_state = State::DelimiterLine;
    m_pending.clear();
}

std::size_t MultipartParser::scanDelimiterLine(std::string_view piece)
{
    for (std::size_t i = 0; i < piece.size(); ++i) {
        m_pending += piece[i];
        if (m_pending == "--") {
            m_state = State::Epilogue;
            return piece.size();
        }
        const bool lineEnded = piece[i] == '\n';
        // Transport padding (spaces, tabs) may precede the line end.
        const bool wellFormed = lineEnded && endsWith(m_pending, "\r\n") &&
                                m_pending.find_first_not_of(" \t") == m_pending.size() - 2;
        if (wellFormed) {
            FormPart part;
            part.checksum = Checksum().value();
            m_parts.push_back(std::move(part));
            m_partChecksum = Checksum();
            m_pending.clear();
            m_state = State::PartHeaders;
            return i + 1;
        }
        if (lineEnded || m_pending.size() > kMaxDelimiterLineBytes) {
            fail("the delimiter \"--" + m_finder.delimiter().substr(4) + "\" is followed by \"" +
                 printable(m_pending) + "\" instead of a line end or \"--\"");
            return piece.size();
        }
    }
    return piece.size();
}

std::size_t MultipartParser::scanPartHeaders(std::string_view piece)
{
    std::size_t used = 0;
    while (used < piece.size()) {
        const char* begin = piece.data() + used;
        const auto* lineEnd = static_cast<const char*>(std::memchr(begin, '\n', piece.size() - used));
        const std::size_t taken = lineEnd ? static_cast<std::size_t>(lineEnd - begin) + 1 : piece.size() - used;
        m_pending.append(begin, taken);
        used += taken;
        if (m_pending.size() > m_maxPartHeaderBytes) {
            fail("the headers of part " + std::to_string(m_parts.size()) + " exceed " +
                 std::to_string(m_maxPartHeaderBytes) + " bytes");
            return piece.size();
        }
        if (lineEnd && (m_pending == "\r\n" || endsWith(m_pending, "\r\n\r\n"))) {
            parsePartHeaders();
            if (m_state != State::Failed) {
                m_pending.clear();
                m_state = State::PartData;
                if (m_chooseSink) {
                    m_sink = m_chooseSink(m_parts);
                }
            }
            return used;
        }
    }
    return used;
}

void MultipartParser::parsePartHeaders()
{
    FormPart& part = m_parts.back();
    const std::string partLabel = "part " + std::to_string(m_parts.size());
    std::string_view block(m_pending);
    block.remove_suffix(2); // the empty line
    while (!block.empty()) {
        const auto lineEnd = block.find("\r\n");
        const std::string_view line = block.substr(0, lineEnd);
        block.remove_prefix(lineEnd + 2);
        const auto colon = line.find(':');
        if (colon == std::string_view::npos || colon == 0 || line.find_first_of("\r\n") != std::string_view::npos) {
            fail(partLabel + " has a malformed header line \"" + printable(line) + "\"");
            return;
        }
        part.headers.push_back({std::string(line.substr(0, colon)), std::string(trimmed(line.substr(colon + 1)))});
    }
    bool hasDisposition = false;
    for (const Header& header : part.headers) {
        if (equalsIgnoringCase(header.name, "Content-Disposition")) {
            const HeaderParameters disposition = HeaderParameters::parse(header.value);
            const auto name = disposition.parameter("name");
            if (!name) {
                fail(partLabel + " has no name in its Content-Disposition \"" + printable(header.value) + "\"");
                return;
            }
            part.name = *name;
            part.fileName = disposition.parameter("filename").value_or("");
            hasDisposition = true;
        } else if (equalsIgnoringCase(header.name, "Content-Type")) {
            part.contentType = header.value;
        }
    }
    if (!hasDisposition) {
        fail(partLabel + " has no Content-Disposition header");
    }
}

void MultipartParser::appendData(std::string_view data)
{
    if (m_state != State::PartData || data.empty()) {
        return; // preamble text is not part of any part
    }
    FormPart& part = m_parts.back();
    part.size += data.size();
    m_partChecksum.update(data);
    part.checksum = m_partChecksum.value();
    if (m_sink) {
        try {
            m_sink->write(data);
        } catch (const std::exception& failure) {
            fail("part " + std::to_string(m_parts.size()) + " could not be stored: " + failure.what());
        }
    } else if (part.data.size() < m_dataMemoryLimit) {
        part.data.append(data.substr(0, m_dataMemoryLimit - part.data.size()));
    }
}

void MultipartParser::finish()
{
    const std::string closing = "\"--" + m_finder.delimiter().substr(4) + "--\"";
    switch (m_state) {
    case State::Epilogue:
    case State::Failed: return;
    case State::Preamble: fail("no delimiter \"--" + m_finder.delimiter().substr(4) + "\" in the body"); return;
    case State::DelimiterLine: fail("the body ends after a delimiter instead of the closing " + closing); return;
    case State::PartHeaders:
        fail("the body ends inside the headers of part " + std::to_string(m_parts.size()));
        return;
    case State::PartData:
        fail("the body ends inside part " + std::to_string(m_parts.size()) + " (\"" + currentPartName() +
             "\") without the closing " + closing);
        return;
    }
}

std::string MultipartParser::currentPartName() const
{
    return m_parts.empty() ? std::string() : printable(m_parts.back().name);
}

void MultipartParser::fail(std::string message)
{
    m_sink.reset();
    m_state = State::Failed;
    m_error = "malformed multipart body: " + std::move(message);
}

} // namespace lithmar::local
