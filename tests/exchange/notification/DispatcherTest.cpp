// The dispatcher files results of the data exchange topic and drops every other message.

#include <lithmar/exchange/notification/NotificationDispatcher.h>
#include <lithmar/exchange/notification/PendingResults.h>
#include <lithmar/runtime/Utf8.h>

#include <gtest/gtest.h>

namespace sdk = com::vantorel::lithmar;

namespace {

std::string message(const std::string& topic, const std::string& data)
{
    return R"({"actions":[{"options":{"event":{"options":{"topic":)" + topic + R"(,"data":)" + data + "}}}}]}";
}

const std::string kTopic = "\"lithmar.vantor\"";

std::string table()
{
    std::string text;
    for (const auto& [jobId, data] : sdk::PendingResults().entries()) {
        text += sdk::toUtf8(jobId) + "=" + data.serialize() + " ";
    }
    return text;
}

TEST(Dispatcher, FilesTheFirstActionsDataUnderItsJobIdUntilANullMessage)
{
    sdk::dispatchNotification(message(kTopic, R"({"jobId":"job-1","result":"FIRST"})").c_str());
    sdk::dispatchNotification(message(kTopic, R"({"jobId":"job-1","result":"SUCCESS","extra":[1,2]})").c_str());
    sdk::dispatchNotification(
        R"({"actions":[{"options":{"event":{"options":{"topic":"lithmar.vantor","data":{"jobId":"jöb-ü"}}}}},)"
        R"("not even an object"],"other":1})");
    EXPECT_EQ(table(), R"(job-1={"extra":[1,2],"jobId":"job-1","result":"SUCCESS"} jöb-ü={"jobId":"jöb-ü"} )");
    sdk::dispatchNotification(nullptr);
    EXPECT_EQ(table(), "");
}

TEST(DroppedMessage, LeavesTheTableAsItWas)
{
    const std::pair<const char*, std::string> dropped[] = {
        {"topic in upper case", message("\"LITHMAR.VANTOR\"", R"({"jobId":"kept"})")},
        {"topic one byte shorter", message("\"lithmar.vanto\"", R"({"jobId":"kept"})")},
        {"topic with a NUL after it", message("\"lithmar.vantor\\u0000\"", R"({"jobId":"kept"})")},
        {"topic not a string", message("14", R"({"jobId":"kept"})")},
        {"numeric job id", message(kTopic, R"({"jobId":42})")},
        {"job id a lone surrogate", message(kTopic, R"({"jobId":"\ud800"})")},
        {"empty actions", R"({"actions":[]})"},
        {"invalid JSON", message(kTopic, R"({"jobId":"kept",})")},
        {"invalid UTF-8", message(kTopic, "{\"jobId\":\"kept\",\"result\":\"\xC3\x28\"}")},
    };
    sdk::dispatchNotification(message(kTopic, R"({"jobId":"kept","result":"OK"})").c_str());
    const auto before = table();
    for (const auto& [why, text] : dropped) {
        sdk::dispatchNotification(text.c_str());
        EXPECT_EQ(table(), before) << why;
    }
    sdk::dispatchNotification(nullptr);
}

} // namespace
