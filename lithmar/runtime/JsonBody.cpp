#include <lithmar/runtime/JsonBody.h>

#include <lithmar/runtime/detail/StringBodyReader.h>

namespace com::vantorel::lithmar {

JsonBody::JsonBody(const web::json::value& json) : m_json(json) {}

JsonBody::~JsonBody() = default;

void JsonBody::writeTo(std::ostream& stream)
{
    m_json.serialize(stream);
}

std::unique_ptr<BodyReader> JsonBody::openReader()
{
    return std::make_unique<detail::StringBodyReader>(m_json.serialize());
}

} // namespace com::vantorel::lithmar
