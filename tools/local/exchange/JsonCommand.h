#pragma once

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/server/RecordedRequest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local {

// Reading the JSON commands that clients POST. Every function throws
// RequestError with the status to answer and a message naming the field and
// what it must be, so that an endpoint reads like the list of its fields.

// True for application/json and application/<anything>+json, with no
// charset or a UTF-8 one.
bool isJsonContentType(std::string_view contentType);

// The body of `request` as a JSON object: 415 when the Content-Type is not
// JSON, 413 when the body was larger than the server keeps, 400 when it is
// not UTF-8, not JSON, nested too deeply or not an object.
Json commandObject(const RecordedRequest& request);

// A string field that must be there (it may be empty).
std::string requiredString(const Json& command, const char* key);
// A string field that must be there and hold more than spaces.
std::string requiredText(const Json& command, const char* key);
// A string field that may be absent or null (then "").
std::string optionalString(const Json& command, const char* key);
// A non-empty array of non-empty strings.
std::vector<std::string> requiredStringList(const Json& command, const char* key);
// A whole number from `min` to `max`.
std::int64_t requiredInteger(const Json& command, const char* key, std::int64_t min, std::int64_t max);
// A whole number from `min` to `max`, or `fallback` when absent or null.
std::int64_t optionalInteger(const Json& command, const char* key, std::int64_t min, std::int64_t max,
                             std::int64_t fallback);
// true or false, or `fallback` when absent or null.
bool optionalBool(const Json& command, const char* key, bool fallback);
// An array (possibly empty).
const Json& requiredArray(const Json& command, const char* key);

} // namespace lithmar::local
