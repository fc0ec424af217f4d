#include <tools/local/server/BodyRecorder.h>

#include <tools/local/server/AsciiText.h>
#include <tools/local/server/HeaderParameters.h>

namespace lithmar::local {

BodyRecorder::BodyRecorder(RecordedRequest& request, std::size_t memoryLimit, std::size_t maxPartHeaderBytes,
                           PartSinkFactory sinks)
    : m_request(request), m_memoryLimit(memoryLimit)
{
    const HeaderParameters contentType = HeaderParameters::parse(request.header("Content-Type"));
    if (!equalsIgnoringCase(contentType.value, "multipart/form-data")) {
        return;
    }
    const auto boundary = contentType.parameter("boundary");
    if (!boundary || boundary->empty()) {
        request.multipartError = "Content-Type multipart/form-data without a boundary parameter";
        return;
    }
    MultipartParser::SinkChooser chooseSink;
    if (sinks) {
        chooseSink = [&request, sinks = std::move(sinks)](const std::vector<FormPart>& parts) {
            return sinks(request, parts);
        };
    }
    m_multipart.emplace(*boundary, memoryLimit, maxPartHeaderBytes, std::move(chooseSink));
}

void BodyRecorder::consume(std::string_view piece)
{
    m_request.bodySize += piece.size();
    m_checksum.update(piece);
    if (m_request.body.size() < m_memoryLimit) {
        m_request.body.append(piece.substr(0, m_memoryLimit - m_request.body.size()));
    }
    if (m_multipart) {
        m_multipart->feed(piece);
    }
}

void BodyRecorder::finish(bool complete)
{
    m_request.complete = complete;
    m_request.bodyChecksum = m_checksum.value();
    m_request.bodyTruncated = m_request.body.size() < m_request.bodySize;
    if (m_multipart) {
        m_multipart->finish();
        m_request.parts = std::move(m_multipart->parts());
        m_request.multipartError = m_multipart->error();
        m_multipart.reset();
    }
}

} // namespace lithmar::local
