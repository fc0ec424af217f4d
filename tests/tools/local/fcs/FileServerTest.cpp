// The platform's file server: a check-in goes to disk as it streams in and
// is answered with a receipt; refused and interrupted check-ins leave no file.

#include "../RawClient.h"
#include "../exchange/PlatformTest.h"

#include <tools/local/server/Checksum.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace lithmar::local::testing {
namespace {

using ::testing::HasSubstr;
using FileServer = PlatformTest;

std::string fileText(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string hexChecksum(std::string_view bytes)
{
    Checksum checksum;
    checksum.update(bytes);
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(checksum.value()));
    return text;
}

std::size_t filesIn(const std::filesystem::path& directory)
{
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator()));
}

std::string targetOf(const Json& slot)
{
    const std::string url = slot["fcsFileUrl"];
    return url.substr(url.find("/lithmar-fcs"));
}

TEST_F(FileServer, StoresTheFileAndAnswersAReceipt)
{
    const Json slot = startUpload(1)["fcsFiles"][0];
    const std::string bytes = pseudoRandomBytes(3 << 20, 7) + "\r\n--checkin-form-boundar";
    const HttpReply reply = checkIn(slot, bytes);
    ASSERT_EQ(reply.status, 200) << reply.body;
    EXPECT_EQ(reply.header("Content-Type"), "application/json");
    const Json receipt = reply.json();
    EXPECT_EQ(receipt["fcsStreamId"], slot["fcsStreamId"]);
    EXPECT_EQ(receipt["size"], bytes.size());
    EXPECT_EQ(receipt["checksum"], hexChecksum(bytes));

    const auto stored = platform.files().storedFile(slot["fcsStreamId"]);
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->size, bytes.size());
    EXPECT_EQ(stored->checksum, hexChecksum(bytes));
    EXPECT_TRUE(fileText(stored->path) == bytes) << "the bytes on disk are the bytes sent";
    EXPECT_EQ(filesIn(platform.files().directory()), 1u);
    EXPECT_FALSE(platform.files().storedFile("fcs-none"));
}

TEST_F(FileServer, AcceptsAnEmptyFile)
{
    const Json slot = startUpload(1)["fcsFiles"][0];
    ASSERT_EQ(checkIn(slot, "").status, 200);
    const auto stored = platform.files().storedFile(slot["fcsStreamId"]);
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->size, 0u);
    EXPECT_TRUE(std::filesystem::exists(stored->path));
}

struct Refusal {
    const char* what;
    int status;
    const char* message;
};

TEST_F(FileServer, RefusesBadCheckInsAndKeepsNoFile)
{
    const Json session = startUpload(2);
    const Json& slot = session["fcsFiles"][0];
    const std::string ticket = slot["fcsFileTicket"];
    const auto post = [&](const std::string& target, const std::string& body) {
        return httpCall(platform.port(), "POST", target, {{"Content-Type", checkinContentType()}}, body);
    };
    const std::string whole = checkinForm(ticket, "data");
    const std::string ticketOnly =
        whole.substr(0, whole.find("--" + std::string(kBoundary), 10)) + "--" + std::string(kBoundary) + "--\r\n";
    const std::vector<std::pair<Refusal, HttpReply>> cases{
        {{"unknown slot", 404, "no check-in slot"}, post("/lithmar-fcs/checkin/fcs-unknown", whole)},
        {{"wrong ticket", 403, "ticket does not match"}, checkIn(slot, "data", "not-the-ticket")},
        {{"another slot's ticket", 403, "ticket does not match"},
         checkIn(slot, "data", session["fcsFiles"][1]["fcsFileTicket"].get<std::string>())},
        {{"no file part", 400, "lacks \"my-upload\""}, post(targetOf(slot), ticketOnly)},
        {{"cut short", 400, "incomplete or malformed"}, post(targetOf(slot), whole.substr(0, whole.size() - 40))},
    };
    for (const auto& [refusal, reply] : cases) {
        EXPECT_TRUE(isError(reply, refusal.status)) << refusal.what;
        EXPECT_THAT(errorOf(reply), HasSubstr(refusal.message)) << refusal.what;
    }
    EXPECT_EQ(filesIn(platform.files().directory()), 0u);
    EXPECT_FALSE(platform.files().storedFile(slot["fcsStreamId"]));

    ASSERT_EQ(checkIn(slot, "first").status, 200);
    const HttpReply reused = checkIn(slot, "second");
    EXPECT_TRUE(isError(reused, 409));
    EXPECT_THAT(errorOf(reused), HasSubstr("was checked in at"));
    EXPECT_EQ(fileText(platform.files().storedFile(slot["fcsStreamId"])->path), "first");
    EXPECT_EQ(filesIn(platform.files().directory()), 1u);
}

TEST_F(FileServer, RefusesSlotsOfAFinishedSession)
{
    const Json session = startUpload(2);
    const std::string receipt = receiptFor(session["fcsFiles"][0]);
    ASSERT_EQ(post("/upload/v1/finish", "{\"sessionId\":\"" + session["sessionId"].get<std::string>() +
                                            "\",\"fcsReceipts\":[" + receipt + "]}")
                  .status,
              204);
    const HttpReply late = checkIn(session["fcsFiles"][1], "late");
    EXPECT_TRUE(isError(late, 409));
    EXPECT_THAT(errorOf(late), HasSubstr("was finished"));
}

TEST_F(FileServer, AConnectionDroppedMidFileLeavesNoFile)
{
    const Json slot = startUpload(1)["fcsFiles"][0];
    const std::string form = checkinForm(slot["fcsFileTicket"].get<std::string>(), pseudoRandomBytes(4 << 20, 3));
    {
        RawClient client(platform.port());
        const std::string request = requestText("POST", targetOf(slot), {{"Content-Type", checkinContentType()}}, form);
        ASSERT_TRUE(client.send(request.substr(0, request.size() / 2)));
    }
    ASSERT_TRUE(platform.server().waitForRequests(2)) << "the start and the cut-off check-in";
    EXPECT_FALSE(platform.server().requests().back().complete);
    EXPECT_EQ(filesIn(platform.files().directory()), 0u);
    EXPECT_EQ(checkIn(slot, "after all").status, 200) << "the slot is still free";
}

} // namespace
} // namespace lithmar::local::testing
