#include <lithmar/exchange/model/detail/WireFormat.h>

#include <lithmar/runtime/ModelBase.h>
#include <lithmar/runtime/Utf8.h>

namespace com::vantorel::lithmar::exploration::model::detail {

std::wstring partName(std::string_view key)
{
    return std::wstring(key.begin(), key.end());
}

std::wstring partPrefix(const std::wstring& namePrefix)
{
    if (namePrefix.empty() || namePrefix.back() == L'.') {
        return namePrefix;
    }
    return namePrefix + L'.';
}

web::json::array& arrayUnder(std::string_view key, web::json::value& json)
{
    if (!json.is_array()) {
        throw web::json::json_exception("expected a JSON array under \"" + std::string(key) + "\"");
    }
    return json.as_array();
}

web::json::value jsonInPart(std::shared_ptr<HttpContent> part)
{
    return web::json::value::parse(toUtf8(ModelBase::stringFromHttpContent(std::move(part))));
}

} // namespace com::vantorel::lithmar::exploration::model::detail
