#include <tools/local/server/Response.h>

#include <nlohmann/json.hpp>

namespace lithmar::local {

Response Response::json(int status, std::string body)
{
    Response response;
    response.status = status;
    response.headers.push_back({"Content-Type", "application/json"});
    response.body = std::move(body);
    return response;
}

Response Response::error(int status, std::string_view message)
{
    // Messages echo what the client sent (an id from the path, a file name),
    // which need not be UTF-8: such bytes become U+FFFD rather than failing
    // the answer.
    const std::string quoted = nlohmann::json(message).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    return json(status, "{\"error\": " + quoted + "}");
}

} // namespace lithmar::local
