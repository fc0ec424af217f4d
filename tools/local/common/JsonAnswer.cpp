#include <tools/local/common/JsonAnswer.h>

namespace lithmar::local {

std::string jsonText(const Json& value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Response jsonAnswer(int status, const Json& body)
{
    return Response::json(status, jsonText(body));
}

} // namespace lithmar::local
