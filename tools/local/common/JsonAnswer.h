#pragma once

#include <tools/local/server/Response.h>

#include <nlohmann/json.hpp>

#include <string>

namespace lithmar::local {

// Keys keep the order they were written in, so that answers read like the
// platform's own (type, id, name first) rather than alphabetically.
using Json = nlohmann::ordered_json;

// The JSON text of `value`. Bytes that are not UTF-8 (an id from the path,
// say, echoed in a message) become U+FFFD instead of failing the answer.
std::string jsonText(const Json& value);

Response jsonAnswer(int status, const Json& body);

} // namespace lithmar::local
