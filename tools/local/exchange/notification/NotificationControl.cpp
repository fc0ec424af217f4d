#include <tools/local/exchange/notification/NotificationControl.h>

#include <tools/local/common/RequestError.h>
#include <tools/local/common/SafeAnswer.h>
#include <tools/local/exchange/ControlEndpoints.h>
#include <tools/local/exchange/JsonCommand.h>
#include <tools/local/session/TicketStore.h>

namespace lithmar::local {
namespace {

Response publishCommand(NotificationQueues& queues, const RecordedRequest& request)
{
    const Json command = commandObject(request);
    std::string user = optionalString(command, "user");
    if (user.empty()) {
        user = TicketStore::kLocalUser;
    }
    const auto payload = command.find("payload");
    if (payload == command.end() || !payload->is_object()) {
        throw RequestError(400, "\"payload\" must be a JSON object: the notification's content, such as "
                                "{\"jobId\": \"job-1\", \"result\": \"SUCCESS\"}");
    }
    const Notification notification = queues.publish(user, jsonText(*payload));
    return jsonAnswer(200, Json{{"result", "OK"}, {"index", notification.index}});
}

} // namespace

void installNotificationControl(HttpServer& server, NotificationQueues& queues)
{
    server.route("POST", std::string(kControlPath) + "/notifications", [&queues](const RecordedRequest& request) {
        return answerSafely([&queues](const RecordedRequest& r) { return publishCommand(queues, r); }, request);
    });
}

} // namespace lithmar::local
