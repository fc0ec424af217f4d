#pragma once

#include <lithmar/runtime/HttpContent.h>
#include <lithmar/runtime/MultipartFormData.h>
#include <lithmar/runtime/lithmar_runtime_export.h>

#include <cpprest/json.h>

#include <cstdint>
#include <memory>
#include <string>

namespace com::vantorel::lithmar {

// Base of every request and result model, with the conversions that the
// models use for single values.
//
// Reading is strict about types and lenient about null: stringFromJson gives
// "" and int32_tFromJson gives 0 for a JSON null, and both throw
// web::json::json_exception, naming what they expected and what they found,
// for a value of another type (an int32_tFromJson of a fraction or of a
// number outside the 32-bit range included). toJson of a null model pointer
// is JSON null, so a list read with null elements writes back as it was read.
class LITHMAR_RUNTIME_EXPORT ModelBase {
public:
    ModelBase();
    ModelBase(const ModelBase& other);
    ModelBase& operator=(const ModelBase& other);
    virtual ~ModelBase();

    virtual void validate() = 0;
    virtual web::json::value toJson() const = 0;
    virtual void fromJson(web::json::value& json) = 0;
    virtual void toMultipart(std::shared_ptr<MultipartFormData> multipart, const std::wstring& namePrefix) const = 0;
    virtual void fromMultiPart(std::shared_ptr<MultipartFormData> multipart, const std::wstring& namePrefix) = 0;

    static web::json::value toJson(const std::wstring& value);
    static web::json::value toJson(int32_t value);
    static web::json::value toJson(std::shared_ptr<ModelBase> value);

    static std::wstring stringFromJson(web::json::value& value);
    static int32_t int32_tFromJson(web::json::value& value);

    static std::shared_ptr<HttpContent> toHttpContent(const std::wstring& name, const std::wstring& value,
                                                      const std::wstring& contentType = L"");
    static std::shared_ptr<HttpContent> toHttpContent(const std::wstring& name, int32_t value,
                                                      const std::wstring& contentType = L"");
    static std::shared_ptr<HttpContent> toHttpContent(const std::wstring& name, const web::json::value& value,
                                                      const std::wstring& contentType = L"application/json");
    // A part under `name` that carries `content`'s disposition, content type,
    // file name and data.
    static std::shared_ptr<HttpContent> toHttpContent(const std::wstring& name, std::shared_ptr<HttpContent> content);

    static std::wstring stringFromHttpContent(std::shared_ptr<HttpContent> content);
    static int32_t int32_tFromHttpContent(std::shared_ptr<HttpContent> content);
};

} // namespace com::vantorel::lithmar
