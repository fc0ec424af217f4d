#include <tools/local/exchange/JsonCommand.h>

#include <tools/local/common/RequestError.h>
#include <tools/local/common/Utf8.h>
#include <tools/local/server/AsciiText.h>

namespace lithmar::local {
namespace {

// Commands are a few levels deep; a limit keeps a hostile body of nothing but
// brackets from costing more than its parse.
constexpr int kMaxNesting = 32;

std::string quoted(const char* key)
{
    return std::string("\"") + key + "\"";
}

const char* typeName(const Json& value)
{
    return value.type_name();
}

const Json& requiredField(const Json& command, const char* key)
{
    const auto found = command.find(key);
    if (found == command.end()) {
        throw RequestError(400, "the command lacks the field " + quoted(key));
    }
    return *found;
}

std::string stringValue(const Json& value, const char* key)
{
    if (!value.is_string()) {
        throw RequestError(400, "the field " + quoted(key) + " must be a string, not " + typeName(value));
    }
    return value.get<std::string>();
}

} // namespace

bool isJsonContentType(std::string_view contentType)
{
    const auto semicolon = contentType.find(';');
    const std::string mediaType = asciiLower(trimmed(contentType.substr(0, semicolon)));
    const std::string_view prefix = "application/";
    const std::string_view suffix = "+json";
    const bool json = mediaType == "application/json" ||
                      (mediaType.rfind(prefix, 0) == 0 && mediaType.size() > prefix.size() + suffix.size() &&
                       mediaType.compare(mediaType.size() - suffix.size(), suffix.size(), suffix) == 0);
    if (!json) {
        return false;
    }
    std::string_view parameters = semicolon == std::string_view::npos ? "" : contentType.substr(semicolon + 1);
    while (!parameters.empty()) {
        const auto next = parameters.find(';');
        const std::string_view parameter = trimmed(parameters.substr(0, next));
        parameters = next == std::string_view::npos ? "" : parameters.substr(next + 1);
        const auto equals = parameter.find('=');
        if (equals == std::string_view::npos || !equalsIgnoringCase(trimmed(parameter.substr(0, equals)), "charset")) {
            continue;
        }
        std::string_view charset = trimmed(parameter.substr(equals + 1));
        if (charset.size() >= 2 && charset.front() == '"' && charset.back() == '"') {
            charset = charset.substr(1, charset.size() - 2);
        }
        if (!equalsIgnoringCase(charset, "utf-8") && !equalsIgnoringCase(charset, "utf8")) {
            return false;
        }
    }
    return true;
}

Json commandObject(const RecordedRequest& request)
{
    const std::string contentType = request.header("Content-Type");
    if (!isJsonContentType(contentType)) {
        throw RequestError(415, "send the command as JSON with \"Content-Type: application/json\" (UTF-8), not \"" +
                                    printable(contentType) + "\"");
    }
    if (request.bodyTruncated) {
        throw RequestError(413, "the command has " + std::to_string(request.bodySize) + " bytes; commands up to " +
                                    std::to_string(request.body.size()) + " bytes are accepted");
    }
    if (!isValidUtf8(request.body)) {
        throw RequestError(400, "the command is not valid UTF-8 text; encode it as UTF-8");
    }
    Json command;
    try {
        command = Json::parse(request.body, [](int depth, Json::parse_event_t, Json&) {
            if (depth > kMaxNesting) {
                throw RequestError(400, "the command nests deeper than " + std::to_string(kMaxNesting) + " levels");
            }
            return true;
        });
    } catch (const Json::exception& e) {
        throw RequestError(400, std::string("the command is not valid JSON: ") + e.what());
    }
    if (!command.is_object()) {
        throw RequestError(400, std::string("the command must be a JSON object, not ") + typeName(command));
    }
    return command;
}

std::string requiredString(const Json& command, const char* key)
{
    return stringValue(requiredField(command, key), key);
}

std::string requiredText(const Json& command, const char* key)
{
    std::string text = requiredString(command, key);
    if (trimmed(text).empty()) {
        throw RequestError(400, "the field " + quoted(key) + " must not be empty or blank");
    }
    return text;
}

std::string optionalString(const Json& command, const char* key)
{
    const auto found = command.find(key);
    if (found == command.end() || found->is_null()) {
        return {};
    }
    return stringValue(*found, key);
}

std::vector<std::string> requiredStringList(const Json& command, const char* key)
{
    const Json& list = requiredArray(command, key);
    if (list.empty()) {
        throw RequestError(400, "the field " + quoted(key) + " must name at least one entry");
    }
    std::vector<std::string> strings;
    for (const Json& entry : list) {
        if (!entry.is_string() || entry.get_ref<const std::string&>().empty()) {
            throw RequestError(400, "every entry of " + quoted(key) + " must be a non-empty string; one is " +
                                        jsonText(entry));
        }
        strings.push_back(entry.get<std::string>());
    }
    return strings;
}

std::int64_t requiredInteger(const Json& command, const char* key, std::int64_t min, std::int64_t max)
{
    const Json& value = requiredField(command, key);
    const std::string range = "a whole number from " + std::to_string(min) + " to " + std::to_string(max);
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number <= static_cast<std::uint64_t>(max) && static_cast<std::int64_t>(number) >= min) {
            return static_cast<std::int64_t>(number);
        }
    } else if (value.is_number_integer()) {
        const auto number = value.get<std::int64_t>();
        if (number >= min && number <= max) {
            return number;
        }
    }
    throw RequestError(400, "the field " + quoted(key) + " must be " + range + ", not " + jsonText(value));
}

std::int64_t optionalInteger(const Json& command, const char* key, std::int64_t min, std::int64_t max,
                             std::int64_t fallback)
{
    const auto found = command.find(key);
    if (found == command.end() || found->is_null()) {
        return fallback;
    }
    return requiredInteger(command, key, min, max);
}

bool optionalBool(const Json& command, const char* key, bool fallback)
{
    const auto found = command.find(key);
    if (found == command.end() || found->is_null()) {
        return fallback;
    }
    if (!found->is_boolean()) {
        throw RequestError(400, "the field " + quoted(key) + " must be true or false, not " + jsonText(*found));
    }
    return found->get<bool>();
}

const Json& requiredArray(const Json& command, const char* key)
{
    const Json& value = requiredField(command, key);
    if (!value.is_array()) {
        throw RequestError(400, "the field " + quoted(key) + " must be an array, not " + typeName(value));
    }
    return value;
}

} // namespace lithmar::local
