#pragma once

#include <lithmar/runtime/lithmar_runtime_export.h>

#include <cstdint>
#include <istream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

namespace com::vantorel::lithmar {

// One part of a multipart/form-data body. The part's data is its stream from
// the position the stream had when it was handed to setData() to its end;
// every reading (writeTo, a body reader, a text conversion) starts again at
// that position when the stream can seek, so a part can be sent more than once.
class LITHMAR_RUNTIME_EXPORT HttpContent {
public:
    HttpContent();
    HttpContent(const HttpContent&) = default;
    HttpContent& operator=(const HttpContent&) = default;
    virtual ~HttpContent();

    // Empty means "form-data", the only disposition a form part can have.
    virtual std::wstring getContentDisposition() const;
    virtual void setContentDisposition(const std::wstring& contentDisposition);
    virtual std::wstring getName() const;
    virtual void setName(const std::wstring& name);
    // Announced in the part's header for file parts; empty for plain fields.
    virtual std::wstring getFileName() const;
    virtual void setFileName(const std::wstring& fileName);
    // Empty means that the part announces no content type.
    virtual std::wstring getContentType() const;
    virtual void setContentType(const std::wstring& contentType);
    virtual std::shared_ptr<std::istream> getData() const;
    virtual void setData(const std::shared_ptr<std::istream>& data);

    // Writes the part's header lines, the blank line and the data.
    virtual void writeTo(std::ostream& stream);

    // The header lines and the blank line that end them, as UTF-8.
    std::string headerText() const;
    // Bytes of data, when the stream can tell (it can seek).
    std::optional<std::uint64_t> dataSize() const;
    // Puts the stream at the start of the data before a reading. Throws
    // std::runtime_error when the stream cannot seek and was already read.
    void beginDataRead();

private:
    std::wstring m_contentDisposition;
    std::wstring m_name;
    std::wstring m_fileName;
    std::wstring m_contentType;
    std::shared_ptr<std::istream> m_data;
    std::streampos m_dataOrigin = -1;
    bool m_dataRead = false;
};

} // namespace com::vantorel::lithmar
