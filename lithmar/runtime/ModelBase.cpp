#include <lithmar/runtime/ModelBase.h>

#include <lithmar/runtime/Utf8.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <sstream>

namespace com::vantorel::lithmar {
namespace {

const char* typeName(const web::json::value& value)
{
    switch (value.type()) {
    case web::json::value::Number: return "a number";
    case web::json::value::Boolean: return "a boolean";
    case web::json::value::String: return "a string";
    case web::json::value::Object: return "an object";
    case web::json::value::Array: return "an array";
    case web::json::value::Null: return "null";
    }
    return "an unknown value";
}

std::shared_ptr<HttpContent> textPart(const std::wstring& name, std::string text, const std::wstring& contentType)
{
    auto part = std::make_shared<HttpContent>();
    part->setName(name);
    part->setContentDisposition(L"form-data");
    part->setContentType(contentType);
    part->setData(std::make_shared<std::istringstream>(std::move(text)));
    return part;
}

std::string partText(const std::shared_ptr<HttpContent>& content)
{
    const auto data = content ? content->getData() : nullptr;
    if (!data) {
        return {};
    }
    content->beginDataRead();
    return std::string(std::istreambuf_iterator<char>(*data), std::istreambuf_iterator<char>());
}

} // namespace

ModelBase::ModelBase() = default;
ModelBase::ModelBase(const ModelBase&) = default;
ModelBase& ModelBase::operator=(const ModelBase&) = default;
ModelBase::~ModelBase() = default;

web::json::value ModelBase::toJson(const std::wstring& value)
{
    // cpprestsdk's own check counts every byte above 127 as needing an escape
    // (char is signed), which sends all non-ASCII text down its slow path when
    // serialising; only control characters, quotes and backslashes need one.
    std::string text = toUtf8(value);
    const bool needsEscapes = std::any_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
    });
    return web::json::value::string(std::move(text), needsEscapes);
}

web::json::value ModelBase::toJson(int32_t value)
{
    return web::json::value::number(value);
}

web::json::value ModelBase::toJson(std::shared_ptr<ModelBase> value)
{
    return value ? value->toJson() : web::json::value::null();
}

std::wstring ModelBase::stringFromJson(web::json::value& value)
{
    if (value.is_string()) {
        return fromUtf8(value.as_string());
    }
    if (value.is_null()) {
        return {};
    }
    throw web::json::json_exception(std::string("expected a JSON string but found ") + typeName(value));
}

int32_t ModelBase::int32_tFromJson(web::json::value& value)
{
    if (value.is_number() && value.as_number().is_int32()) {
        return value.as_number().to_int32();
    }
    if (value.is_null()) {
        return 0;
    }
    if (value.is_number()) {
        throw web::json::json_exception("expected a 32-bit integer but found " + value.serialize());
    }
    throw web::json::json_exception(std::string("expected a JSON integer but found ") + typeName(value));
}

std::shared_ptr<HttpContent> ModelBase::toHttpContent(const std::wstring& name, const std::wstring& value,
                                                      const std::wstring& contentType)
{
    return textPart(name, toUtf8(value), contentType);
}

std::shared_ptr<HttpContent> ModelBase::toHttpContent(const std::wstring& name, int32_t value,
                                                      const std::wstring& contentType)
{
    return textPart(name, std::to_string(value), contentType);
}

std::shared_ptr<HttpContent> ModelBase::toHttpContent(const std::wstring& name, const web::json::value& value,
                                                      const std::wstring& contentType)
{
    return textPart(name, value.serialize(), contentType);
}

std::shared_ptr<HttpContent> ModelBase::toHttpContent(const std::wstring& name, std::shared_ptr<HttpContent> content)
{
    auto part = std::make_shared<HttpContent>();
    part->setName(name);
    if (content) {
        part->setContentDisposition(content->getContentDisposition());
        part->setContentType(content->getContentType());
        part->setFileName(content->getFileName());
        part->setData(content->getData());
    }
    return part;
}

std::wstring ModelBase::stringFromHttpContent(std::shared_ptr<HttpContent> content)
{
    return fromUtf8(partText(content));
}

int32_t ModelBase::int32_tFromHttpContent(std::shared_ptr<HttpContent> content)
{
    const std::string text = partText(content);
    errno = 0;
    char* end = nullptr;
    const long long parsed = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || std::isspace(static_cast<unsigned char>(text.front())) || end != text.c_str() + text.size() ||
        errno == ERANGE ||
        parsed < std::numeric_limits<int32_t>::min() || parsed > std::numeric_limits<int32_t>::max()) {
        throw std::invalid_argument("form part '" + (content ? toUtf8(content->getName()) : std::string()) +
                                    "' does not hold a 32-bit decimal integer: \"" + text + "\"");
    }
    return static_cast<int32_t>(parsed);
}

} // namespace com::vantorel::lithmar
