#include <tools/local/server/Response.h>

#include <cstdio>

namespace lithmar::local {
namespace {

std::string jsonString(std::string_view text)
{
    std::string quoted = "\"";
    for (const char c : text) {
        switch (c) {
        case '"': quoted += "\\\""; break;
        case '\\': quoted += "\\\\"; break;
        case '\n': quoted += "\\n"; break;
        case '\r': quoted += "\\r"; break;
        case '\t': quoted += "\\t"; break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
                quoted += escaped;
            } else {
                quoted += c;
            }
        }
    }
    return quoted + "\"";
}

} // namespace

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
    return json(status, "{\"error\": " + jsonString(message) + "}");
}

} // namespace lithmar::local
