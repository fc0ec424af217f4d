#include <tools/local/exchange/notification/PollEndpoint.h>

#include <tools/local/common/JsonAnswer.h>
#include <tools/local/common/RequestError.h>
#include <tools/local/common/SafeAnswer.h>

#include <charconv>
#include <limits>

namespace lithmar::local {
namespace {

std::int64_t indexOf(const std::string& text)
{
    std::int64_t index = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        throw RequestError(400, "the poll index must be a whole number, such as -1 or 17, not \"" + text + "\"");
    }
    return index;
}

} // namespace

std::string pollAnswer(const NotificationQueues& queues, const std::string& user, std::int64_t index)
{
    if (index < 0) {
        return jsonText(std::to_string(queues.startIndex(user)));
    }
    Notification notification;
    if (index <= std::numeric_limits<std::int32_t>::max() &&
        queues.find(user, static_cast<std::int32_t>(index), notification)) {
        return jsonText(notification.payload);
    }
    const std::int32_t end = queues.endIndex(user);
    if (index >= end) {
        return jsonText(std::to_string(end));
    }
    // Fallen out of the queue: go on with the oldest one kept.
    return jsonText(std::to_string(queues.oldestIndex(user)));
}

void installPollEndpoint(HttpServer& server, const NotificationQueues& queues, std::string user)
{
    server.route("GET", std::string(kPollPath) + "{index}",
                 [&queues, user = std::move(user)](const RecordedRequest& request) {
                     return answerSafely(
                         [&](const RecordedRequest& r) {
                             return Response::json(200, pollAnswer(queues, user, indexOf(r.params.at("index"))));
                         },
                         request);
                 });
}

} // namespace lithmar::local
