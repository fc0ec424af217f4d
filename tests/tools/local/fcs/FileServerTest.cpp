// The platform's file server: a check-in goes to disk as it streams in and
// is answered with a receipt; refused and interrupted check-ins leave no file.

#include <tests/support/Platform.h>

#include <tools/local/server/Checksum.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>
#include <iterator>

namespace lithmar::test {
namespace {

using ::testing::HasSubstr;
using FileServer = PlatformTest;
namespace fs = std::filesystem;

std::string fileText(const fs::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::size_t filesIn(const fs::path& directory)
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

// The client's check-in tests store files end to end; here, what the receipt says.
TEST_F(FileServer, StoresAFileWholeAndAnswersWithAReceipt)
{
    const Json slot = startUpload(1)["fcsFiles"][0];
    const std::string bytes = pseudoRandomBytes(3 << 20, 7) + "\r\n--checkin-form-boundar";
    const HttpReply reply = checkIn(slot, bytes);
    ASSERT_EQ(reply.status, 200) << reply.body;
    char hex[17];
    std::snprintf(hex, sizeof hex, "%016llx", static_cast<unsigned long long>(local::Checksum::of(bytes)));
    const Json receipt = reply.json();
    EXPECT_EQ(keysOf(receipt), (std::vector<std::string>{"fcsStreamId", "receiptId", "size", "checksum", "checkedIn"}));
    EXPECT_EQ(Json({reply.header("Content-Type"), receipt["fcsStreamId"], receipt["size"], receipt["checksum"]}),
              Json({"application/json", slot["fcsStreamId"], bytes.size(), hex}));
    EXPECT_TRUE(fileText(platform.files().storedFile(slot["fcsStreamId"])->path) == bytes);
    EXPECT_EQ(filesIn(platform.files().directory()), 1u) << "nothing else stays behind";
}

TEST_F(FileServer, RefusesBadCheckInsAndKeepsNoFileOfThem)
{
    const Json session = startUpload(2);
    const Json& slot = session["fcsFiles"][0];
    const std::string target = "/lithmar-fcs/checkin/" + slot["fcsStreamId"].get<std::string>();
    const std::string whole = checkinForm(slot["fcsFileTicket"].get<std::string>(), "data");
    const std::string delimiter = "--" + std::string(kBoundary);
    const std::string ticketOnly = whole.substr(0, whole.find(delimiter, 10)) + delimiter + "--\r\n";
    const auto post = [&](const std::string& to, const std::string& body) {
        return httpCall(platform.port(), "POST", to, {{"Content-Type", checkinContentType()}}, body);
    };
    const Json finished = startUpload(2);
    const std::string finish = "{\"sessionId\":" + finished["sessionId"].dump() + ",\"fcsReceipts\":[" +
                               receiptFor(finished["fcsFiles"][0]) + "]}";
    ASSERT_EQ(PlatformTest::post("/upload/v1/finish", finish).status, 204);
    const std::tuple<HttpReply, int, const char*> refusals[] = {
        {post("/lithmar-fcs/checkin/fcs-unknown", whole), 404, "no check-in slot"},
        {checkIn(slot, "data", "not-the-ticket"), 403, "ticket does not match"},
        {post(target, ticketOnly), 400, "lacks \"my-upload\""},
        {post(target, whole.substr(0, whole.size() - 40)), 400, "incomplete or malformed"},
        {checkIn(finished["fcsFiles"][1], "late"), 409, "was finished"},
    };
    for (const auto& [reply, status, complaint] : refusals) {
        EXPECT_TRUE(isError(reply, status)) << complaint;
        EXPECT_THAT(errorOf(reply), HasSubstr(complaint));
    }
    EXPECT_EQ(filesIn(platform.files().directory()), 1u) << "the finished session's one file";

    ASSERT_EQ(checkIn(slot, "first").status, 200);
    const HttpReply reused = checkIn(slot, "second");
    EXPECT_TRUE(isError(reused, 409));
    EXPECT_THAT(errorOf(reused), HasSubstr("was checked in at"));
    EXPECT_EQ(fileText(platform.files().storedFile(slot["fcsStreamId"])->path), "first");
}

TEST_F(FileServer, AConnectionDroppedMidFileLeavesNoFileAndTheSlotFree)
{
    const Json slot = startUpload(1)["fcsFiles"][0];
    const std::string target = "/lithmar-fcs/checkin/" + slot["fcsStreamId"].get<std::string>();
    const std::string form = checkinForm(slot["fcsFileTicket"].get<std::string>(), pseudoRandomBytes(4 << 20, 3));
    {
        RawClient client(platform.port());
        const std::string request = requestText("POST", target, {{"Content-Type", checkinContentType()}}, form);
        ASSERT_TRUE(client.send(request.substr(0, request.size() / 2)));
    }
    ASSERT_TRUE(platform.server().waitForRequests(2)) << "the start and the cut-off check-in";
    EXPECT_FALSE(platform.server().requests().back().complete);
    EXPECT_EQ(filesIn(platform.files().directory()), 0u);
    EXPECT_EQ(checkIn(slot, "after all").status, 200);
}

} // namespace
} // namespace lithmar::test
