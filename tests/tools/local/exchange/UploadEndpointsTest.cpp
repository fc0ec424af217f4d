// Upload sessions: one file slot per file on the file server's path, then
// the receipts that close the session.

#include "PlatformTest.h"

#include <gmock/gmock.h>

#include <set>

namespace lithmar::local::testing {
namespace {

using ::testing::HasSubstr;
using Keys = std::vector<std::string>;

using UploadEndpoints = PlatformTest;

std::string finishCommand(const std::string& sessionId, const std::string& receipts)
{
    return "{\"sessionId\":\"" + sessionId + "\",\"fcsReceipts\":" + receipts + "}";
}

TEST_F(UploadEndpoints, StartGivesOneSlotPerFileOnTheFileServersPath)
{
    const Json answer = startUpload(3);
    EXPECT_EQ(keysOf(answer), (Keys{"sessionId", "fcsFiles"})) << "no result or tracking number here";
    ASSERT_EQ(answer["fcsFiles"].size(), 3u);
    std::set<std::string> streams;
    std::set<std::string> tickets;
    for (const Json& slot : answer["fcsFiles"]) {
        EXPECT_EQ(keysOf(slot), (Keys{"fcsStreamId", "fcsFileUrl", "fcsFileTicket"}));
        const std::string stream = slot["fcsStreamId"];
        EXPECT_EQ(slot["fcsFileUrl"], platform.baseUrl() + "/lithmar-fcs/checkin/" + stream);
        EXPECT_GE(slot["fcsFileTicket"].get<std::string>().size(), 32u);
        streams.insert(stream);
        tickets.insert(slot["fcsFileTicket"].get<std::string>());
    }
    EXPECT_EQ(streams.size(), 3u);
    EXPECT_EQ(tickets.size(), 3u);
    EXPECT_NE(startUpload(1)["sessionId"], answer["sessionId"]);
}

TEST_F(UploadEndpoints, SlotUrlsUseTheHostTheClientReached)
{
    const Json named = post("/upload/v1/start", R"({"numberOfFiles":1})", {{"Host", "platform.test:9000"}}).json();
    EXPECT_THAT(named["fcsFiles"][0]["fcsFileUrl"].get<std::string>(),
                ::testing::StartsWith("http://platform.test:9000/lithmar-fcs/checkin/fcs-"));
    const Json odd = post("/upload/v1/start", R"({"numberOfFiles":1})", {{"Host", "evil/host?x"}}).json();
    EXPECT_THAT(odd["fcsFiles"][0]["fcsFileUrl"].get<std::string>(),
                ::testing::StartsWith(platform.baseUrl() + "/lithmar-fcs/checkin/"))
        << "an implausible Host gives way to the address the connection reached";
}

TEST_F(UploadEndpoints, StartTakesOneToAThousandFiles)
{
    EXPECT_EQ(startUpload(1000)["fcsFiles"].size(), 1000u);
    for (const char* bad :
         {"0", "1001", "-1", "\"2\"", "2.5", "1e30", "99999999999999999999999", "true", "null", "[1]", "{}"}) {
        const HttpReply reply = post("/upload/v1/start", std::string("{\"numberOfFiles\":") + bad + "}");
        EXPECT_TRUE(isError(reply, 400)) << bad;
        EXPECT_THAT(errorOf(reply), HasSubstr("from 1 to 1000")) << bad;
    }
    EXPECT_THAT(errorOf(post("/upload/v1/start", "{}")), HasSubstr("\"numberOfFiles\""));
}

TEST_F(UploadEndpoints, FinishAnswers204WithoutBodyAndKeepsTheReceipts)
{
    const Json session = startUpload(2);
    const std::string id = session["sessionId"];
    const std::string receipt = receiptFor(session["fcsFiles"][0]);
    const HttpReply finished = post("/upload/v1/finish", finishCommand(id, "[" + receipt + "]"));
    EXPECT_EQ(finished.status, 204);
    EXPECT_EQ(finished.body, "");
    EXPECT_EQ(finished.header("Content-Type"), "");

    const auto stored = platform.store().uploads().session(id);
    ASSERT_TRUE(stored);
    EXPECT_FALSE(stored->finished.empty());
    EXPECT_EQ(stored->streams[0].receipt, Json::parse(receipt)["fcsReciept"]);
    EXPECT_EQ(stored->streams[1].receipt, "") << "a file without receipt";

    const HttpReply again = post("/upload/v1/finish", finishCommand(id, "[" + receipt + "]"));
    EXPECT_TRUE(isError(again, 409));
    EXPECT_THAT(errorOf(again), HasSubstr("finished"));
}

TEST_F(UploadEndpoints, FinishRefusesUnknownSessionsAndForeignOrBadReceipts)
{
    const Json session = startUpload(1);
    const Json other = startUpload(1);
    const std::string id = session["sessionId"];
    const std::string one = receiptFor(session["fcsFiles"][0]);
    const std::string good = "[" + one + "]";

    EXPECT_TRUE(isError(post("/upload/v1/finish", finishCommand("upl-unknown", good)), 404));
    const HttpReply foreign =
        post("/upload/v1/finish", finishCommand(id, "[" + receiptFor(other["fcsFiles"][0]) + "]"));
    EXPECT_TRUE(isError(foreign, 400));
    EXPECT_THAT(errorOf(foreign), HasSubstr("not part of the upload session"));

    const std::string stream = session["fcsFiles"][0]["fcsStreamId"];
    const HttpReply spelledRight =
        post("/upload/v1/finish", finishCommand(id, "[{\"fcsStreamId\":\"" + stream + "\",\"fcsReceipt\":\"x\"}]"));
    EXPECT_TRUE(isError(spelledRight, 400));
    EXPECT_THAT(errorOf(spelledRight), HasSubstr("\"fcsReciept\"")) << "the wire spelling is the one accepted";

    const std::vector<std::string> badReceipts{
        "[]",
        "{}",
        "\"x\"",
        "[1]",
        "[" + one + "," + one + "]",
        "[{\"fcsStreamId\":\"" + stream + "\",\"fcsReciept\":7}]",
        "[{\"fcsStreamId\":\"\",\"fcsReciept\":\"x\"}]",
    };
    for (const std::string& receipts : badReceipts) {
        EXPECT_TRUE(isError(post("/upload/v1/finish", finishCommand(id, receipts)), 400)) << receipts;
    }
    EXPECT_TRUE(isError(post("/upload/v1/finish", "{\"fcsReceipts\":" + good + "}"), 400));
    EXPECT_TRUE(isError(post("/upload/v1/finish", "{\"sessionId\":5,\"fcsReceipts\":" + good + "}"), 400));

    EXPECT_EQ(post("/upload/v1/finish", finishCommand(id, good)).status, 204) << "the refusals changed nothing";
}

TEST_F(UploadEndpoints, FinishTakesOnlyTheFileServersOwnReceipts)
{
    const Json session = startUpload(2);
    const std::string id = session["sessionId"];
    const Json& checkedIn = session["fcsFiles"][0];
    const Json& notCheckedIn = session["fcsFiles"][1];
    const std::string real = receiptFor(checkedIn);

    const Json madeUp{{"fcsStreamId", checkedIn["fcsStreamId"]}, {"fcsReciept", "<ok/>"}};
    const HttpReply forged = post("/upload/v1/finish", finishCommand(id, "[" + madeUp.dump() + "]"));
    EXPECT_TRUE(isError(forged, 400));
    EXPECT_THAT(errorOf(forged), HasSubstr("not the one the file server gave"));

    const Json missing{{"fcsStreamId", notCheckedIn["fcsStreamId"]}, {"fcsReciept", Json::parse(real)["fcsReciept"]}};
    const HttpReply never = post("/upload/v1/finish", finishCommand(id, "[" + real + "," + missing.dump() + "]"));
    EXPECT_TRUE(isError(never, 400));
    EXPECT_THAT(errorOf(never), HasSubstr("never checked in"));

    EXPECT_EQ(post("/upload/v1/finish", finishCommand(id, "[" + real + "]")).status, 204);
}

} // namespace
} // namespace lithmar::local::testing
