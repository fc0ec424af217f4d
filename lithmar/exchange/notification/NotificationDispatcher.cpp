#include <lithmar/exchange/notification/NotificationDispatcher.h>

#include <lithmar/exchange/notification/NotificationTopic.h>
#include <lithmar/exchange/notification/PendingResults.h>
#include <lithmar/runtime/Utf8.h>

#include <cstring>

namespace com::vantorel::lithmar {
namespace {

// Each step throws (web::json::json_exception, EncodingError) when the
// message does not have the expected shape.
void fileMessage(PendingResults& table, const char* message)
{
    const std::string text(message, std::strlen(message));
    // Strict: bytes that are not UTF-8 end here instead of reaching the parser.
    fromUtf8(text);
    const web::json::value parsed = web::json::value::parse(text);
    const web::json::value eventOptions =
        parsed.at("actions").at(std::size_t{0}).at("options").at("event").at("options");

    const std::string& topic = eventOptions.at("topic").as_string();
    if (topic.size() != kDataExchangeTopicLength ||
        std::memcmp(topic.data(), kDataExchangeTopic, kDataExchangeTopicLength) != 0) {
        return;
    }
    web::json::value data = eventOptions.at("data");
    // Escapes such as a lone "\ud800" decode to bytes that are not UTF-8.
    const std::wstring jobId = fromUtf8(data.at("jobId").as_string());
    table.file(jobId, std::move(data));
}

} // namespace

void dispatchNotification(const char* message)
{
    PendingResults table;
    if (message == nullptr) {
        table.clear();
        return;
    }
    try {
        fileMessage(table, message);
    } catch (...) {
        // A notification client cannot act on a bad message, and an
        // exception must not unwind into its thread: drop the message.
    }
}

} // namespace com::vantorel::lithmar
