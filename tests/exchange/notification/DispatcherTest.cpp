// The dispatcher files results of the data exchange topic and drops every
// other message without touching the table.

#include <lithmar/exchange/notification/NotificationDispatcher.h>
#include <lithmar/exchange/notification/PendingResults.h>

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace sdk = com::vantorel::lithmar;

namespace {

std::string message(const std::string& topic, const std::string& data)
{
    return R"({"actions":[{"options":{"event":{"options":{"topic":)" + topic + R"(,"data":)" + data + "}}}}]}";
}

const std::string kTopic = "\"lithmar.vantor\"";

class DispatcherTest : public testing::Test {
protected:
    void SetUp() override { sdk::dispatchNotification(nullptr); }
    void TearDown() override { sdk::dispatchNotification(nullptr); }

    static std::map<std::wstring, web::json::value> table() { return sdk::PendingResults().entries(); }
};

TEST_F(DispatcherTest, FilesTheDataUnderItsJobIdWithEveryMember)
{
    sdk::dispatchNotification(message(kTopic, R"({"jobId":"job-1","result":"SUCCESS","extra":[1,2]})").c_str());
    const auto entries = table();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries.at(L"job-1").serialize(), R"({"extra":[1,2],"jobId":"job-1","result":"SUCCESS"})");
}

TEST_F(DispatcherTest, KeepsOnlyTheLaterOfTwoResultsForOneJob)
{
    sdk::dispatchNotification(message(kTopic, R"({"jobId":"job-1","result":"FIRST"})").c_str());
    sdk::dispatchNotification(message(kTopic, R"({"jobId":"job-1","result":"SECOND"})").c_str());
    const auto entries = table();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries.at(L"job-1").at("result").as_string(), "SECOND");
}

TEST_F(DispatcherTest, ReadsOnlyTheFirstActionAndNonAsciiJobIds)
{
    sdk::dispatchNotification(
        R"({"actions":[{"options":{"event":{"options":{"topic":"lithmar.vantor","data":{"jobId":"jöb-ü"}}}}},)"
        R"("not even an object"],"other":1})");
    EXPECT_EQ(table().count(L"j\u00f6b-\u00fc"), 1u);
}

TEST_F(DispatcherTest, ANullMessageEmptiesTheTable)
{
    sdk::dispatchNotification(message(kTopic, R"({"jobId":"a"})").c_str());
    sdk::dispatchNotification(message(kTopic, R"({"jobId":"b"})").c_str());
    sdk::dispatchNotification(nullptr);
    EXPECT_TRUE(table().empty());
}

TEST_F(DispatcherTest, TheWaitersAccessTakesAnEntryOut)
{
    sdk::dispatchNotification(message(kTopic, R"({"jobId":"job-7","result":"DONE"})").c_str());
    {
        sdk::PendingResults results;
        ASSERT_TRUE(results.contains(L"job-7"));
        EXPECT_EQ(results.at(L"job-7").at("result").as_string(), "DONE");
        results.erase(L"job-7");
        EXPECT_FALSE(results.contains(L"job-7"));
        EXPECT_THROW(results.at(L"job-7"), std::out_of_range);
    }
    EXPECT_TRUE(table().empty());
}

struct Dropped {
    const char* why;
    std::string text;
};

void PrintTo(const Dropped& dropped, std::ostream* os)
{
    *os << dropped.why;
}

class DroppedMessageTest : public DispatcherTest, public testing::WithParamInterface<Dropped> {};

TEST_P(DroppedMessageTest, LeavesTheTableAsItWas)
{
    sdk::dispatchNotification(message(kTopic, R"({"jobId":"kept","result":"OK"})").c_str());
    const auto before = table();
    sdk::dispatchNotification(GetParam().text.c_str());
    EXPECT_EQ(table(), before) << GetParam().why;
}

INSTANTIATE_TEST_SUITE_P(
    Messages, DroppedMessageTest,
    testing::Values(Dropped{"another topic", message("\"lithmar.other\"", R"({"jobId":"kept","x":1})")},
                    Dropped{"topic in upper case", message("\"LITHMAR.VANTOR\"", R"({"jobId":"kept"})")},
                    Dropped{"topic one byte longer", message("\"lithmar.vantor.\"", R"({"jobId":"kept"})")},
                    Dropped{"topic one byte shorter", message("\"lithmar.vanto\"", R"({"jobId":"kept"})")},
                    Dropped{"topic with a NUL after it", message("\"lithmar.vantor\\u0000\"", R"({"jobId":"kept"})")},
                    Dropped{"topic not a string", message("14", R"({"jobId":"kept"})")},
                    Dropped{"numeric job id", message(kTopic, R"({"jobId":42})")},
                    Dropped{"no job id", message(kTopic, R"({"result":"OK"})")},
                    Dropped{"data not an object", message(kTopic, R"("job")")},
                    Dropped{"job id a lone surrogate", message(kTopic, R"({"jobId":"\ud800"})")},
                    Dropped{"empty actions", R"({"actions":[]})"},
                    Dropped{"actions not an array", R"({"actions":{"options":{}}})"},
                    Dropped{"no event", R"({"actions":[{"options":{}}]})"}, Dropped{"not an object", R"([1,2,3])"},
                    Dropped{"invalid JSON", message(kTopic, R"({"jobId":"kept",})")},
                    Dropped{"truncated JSON", message(kTopic, R"({"jobId":"kept"})").substr(0, 40)},
                    Dropped{"empty text", ""},
                    Dropped{"invalid UTF-8", message(kTopic, "{\"jobId\":\"kept\",\"result\":\"\xC3\x28\"}")},
                    Dropped{"overlong UTF-8", message(kTopic, "{\"jobId\":\"\xC0\xAF\"}")}));

} // namespace
