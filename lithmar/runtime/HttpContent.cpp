#include <lithmar/runtime/HttpContent.h>

#include <lithmar/runtime/Utf8.h>

#include <stdexcept>

namespace com::vantorel::lithmar {
namespace {

// Form field and file names are quoted strings in the part header; RFC 7578
// (section 2, following the HTML form encoding) escapes the three bytes that
// would end or break the quoted string.
std::string quoted(const std::wstring& value)
{
    std::string escaped = "\"";
    for (const char c : toUtf8(value)) {
        switch (c) {
        case '"': escaped += "%22"; break;
        case '\r': escaped += "%0D"; break;
        case '\n': escaped += "%0A"; break;
        default: escaped += c;
        }
    }
    return escaped + "\"";
}

} // namespace

HttpContent::HttpContent() = default;
HttpContent::~HttpContent() = default;

std::wstring HttpContent::getContentDisposition() const { return m_contentDisposition; }
void HttpContent::setContentDisposition(const std::wstring& contentDisposition) { m_contentDisposition = contentDisposition; }
std::wstring HttpContent::getName() const { return m_name; }
void HttpContent::setName(const std::wstring& name) { m_name = name; }
std::wstring HttpContent::getFileName() const { return m_fileName; }
void HttpContent::setFileName(const std::wstring& fileName) { m_fileName = fileName; }
std::wstring HttpContent::getContentType() const { return m_contentType; }
void HttpContent::setContentType(const std::wstring& contentType) { m_contentType = contentType; }
std::shared_ptr<std::istream> HttpContent::getData() const { return m_data; }

void HttpContent::setData(const std::shared_ptr<std::istream>& data)
{
    m_data = data;
    m_dataRead = false;
    m_dataOrigin = data ? data->tellg() : std::streampos(-1);
}

std::string HttpContent::headerText() const
{
    const std::wstring disposition = m_contentDisposition.empty() ? L"form-data" : m_contentDisposition;
    std::string header = "Content-Disposition: " + toUtf8(disposition) + "; name=" + quoted(m_name);
    if (!m_fileName.empty()) {
        header += "; filename=" + quoted(m_fileName);
    }
    header += "\r\n";
    if (!m_contentType.empty()) {
        header += "Content-Type: " + toUtf8(m_contentType) + "\r\n";
    }
    return header + "\r\n";
}

std::optional<std::uint64_t> HttpContent::dataSize() const
{
    if (!m_data) {
        return 0;
    }
    if (m_dataOrigin == std::streampos(-1)) {
        return std::nullopt;
    }
    // Measure through the stream buffer so that the stream's own position and
    // state stay untouched.
    std::streambuf* buffer = m_data->rdbuf();
    const std::streampos current = buffer->pubseekoff(0, std::ios_base::cur, std::ios_base::in);
    const std::streampos end = buffer->pubseekoff(0, std::ios_base::end, std::ios_base::in);
    buffer->pubseekpos(current, std::ios_base::in);
    if (end == std::streampos(-1) || end < m_dataOrigin) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(end - m_dataOrigin);
}

void HttpContent::beginDataRead()
{
    if (!m_data) {
        return;
    }
    m_data->clear();
    if (m_dataOrigin == std::streampos(-1)) {
        if (m_dataRead) {
            throw std::runtime_error("the data of form part '" + toUtf8(m_name) +
                                     "' cannot be sent again: its stream cannot seek back");
        }
        m_dataRead = true;
        return;
    }
    if (!m_data->seekg(m_dataOrigin)) {
        throw std::runtime_error("the data of form part '" + toUtf8(m_name) + "' cannot be rewound");
    }
}

void HttpContent::writeTo(std::ostream& stream)
{
    stream << headerText();
    if (m_data) {
        beginDataRead();
        stream << m_data->rdbuf();
        // An empty part leaves failbit on the output stream; that is no error.
        if (stream.fail() && !stream.bad()) {
            stream.clear();
        }
    }
}

} // namespace com::vantorel::lithmar
