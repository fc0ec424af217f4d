#include <tools/local/exchange/FaultCommand.h>

#include <tools/local/common/RequestError.h>
#include <tools/local/exchange/JsonCommand.h>
#include <tools/local/server/AsciiText.h>
#include <tools/local/server/FaultScript.h>
#include <tools/local/server/PathPattern.h>

#include <stdexcept>

namespace lithmar::local {
namespace {

// A stall longer than this is a typo; stopping the server cuts one short.
constexpr std::int64_t kMaxDelayMs = 10 * 60 * 1000;
constexpr std::int64_t kMaxTimes = 1000000;

std::vector<Header> headersOf(const Json& command)
{
    const auto found = command.find("headers");
    if (found == command.end() || found->is_null()) {
        return {};
    }
    if (!found->is_object()) {
        throw RequestError(400, "the field \"headers\" must be an object of header names to string values");
    }
    std::vector<Header> headers;
    for (const auto& [name, value] : found->items()) {
        if (!value.is_string()) {
            throw RequestError(400, "the header \"" + name + "\" must have a string value, not " + jsonText(value));
        }
        const std::string text = value.get<std::string>();
        if (name.empty() || name.find_first_of(" :\r\n") != std::string::npos ||
            text.find_first_of("\r\n") != std::string::npos) {
            throw RequestError(400, "the header \"" + printable(name) +
                                        "\" cannot be sent: names need letters "
                                        "without spaces or ':', values must not hold line breaks");
        }
        headers.push_back({name, text});
    }
    return headers;
}

bool hasContentType(const std::vector<Header>& headers)
{
    for (const Header& header : headers) {
        if (equalsIgnoringCase(header.name, "Content-Type")) {
            return true;
        }
    }
    return false;
}

} // namespace

FaultCommand faultCommand(const Json& command)
{
    FaultCommand scripted;
    scripted.method = command.contains("method") ? requiredText(command, "method") : "*";
    scripted.path = requiredText(command, "path");
    try {
        static_cast<void>(PathPattern(scripted.path));
    } catch (const std::invalid_argument& e) {
        throw RequestError(400, e.what());
    }
    const auto times = optionalInteger(command, "times", FaultScript::kForever, kMaxTimes, 1);
    if (times == 0) {
        throw RequestError(400, "the field \"times\" must be at least 1, or -1 for every matching request");
    }
    scripted.times = static_cast<int>(times);

    const auto delay = std::chrono::milliseconds(optionalInteger(command, "delayMs", 0, kMaxDelayMs, 0));
    const bool close = optionalBool(command, "close", false);
    const bool answers = command.contains("status") && !command.at("status").is_null();
    if (close && answers) {
        throw RequestError(400, "a fault either answers (\"status\") or closes the connection (\"close\"), not both");
    }
    if (close) {
        scripted.fault = Fault::close().after(delay);
    } else if (answers) {
        Response response;
        response.status = static_cast<int>(requiredInteger(command, "status", 100, 999));
        response.body = optionalString(command, "body");
        response.headers = headersOf(command);
        if (!response.body.empty() && !hasContentType(response.headers)) {
            response.headers.push_back({"Content-Type", "application/json"});
        }
        scripted.fault = Fault::respond(std::move(response)).after(delay);
    } else if (delay.count() > 0) {
        scripted.fault = Fault::delay(delay);
    } else {
        throw RequestError(400, "say what the fault does: \"status\" to answer, \"close\": true to drop the "
                                "connection, or \"delayMs\" to stall");
    }
    return scripted;
}

} // namespace lithmar::local
