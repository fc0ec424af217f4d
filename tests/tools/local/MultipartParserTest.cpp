#include <tools/local/server/Checksum.h>
#include <tools/local/server/HeaderParameters.h>
#include <tools/local/server/MultipartParser.h>

#include <gtest/gtest.h>

#include <string>

namespace lithmar::local {
namespace {

using namespace std::string_literals;

constexpr std::size_t kNoLimit = 1 << 20;

// Near misses of the delimiter inside file data ("\r\n--XyY", "\r\n--Xy\r\n")
// and a part ending in "\r\n-" make cut points around them interesting.
const std::string kFileData = "\r\n--XyY\r\n--Xy\r\nbinary\0data\r\n-"s;

const std::string kBody = "This is the preamble.\r\n"
                          "--XyZ\r\n"
                          "Content-Disposition: form-data; name=\"title\"\r\n"
                          "\r\n"
                          "Core 7\r\n"
                          "--XyZ\r\n"
                          "Content-Disposition: form-data; name=\"file\"; filename=\"core 7.las\"\r\n"
                          "Content-Type: application/octet-stream\r\n"
                          "\r\n" +
                          kFileData +
                          "\r\n"
                          "--XyZ  \r\n" // transport padding
                          "Content-Disposition: form-data; name=\"empty\"\r\n"
                          "\r\n"
                          "\r\n"
                          "--XyZ\r\n"
                          "content-disposition: form-data; name=\"lieu\"\r\n"
                          "Content-Type: text/plain; charset=utf-8\r\n"
                          "\r\n"
                          "Zürich – 東京\r\n"
                          "--XyZ--\r\n"
                          "This is the epilogue.";

std::vector<FormPart> parseInPieces(const std::string& body, const std::vector<std::size_t>& cuts,
                                    std::string* error = nullptr, std::size_t memoryLimit = kNoLimit)
{
    MultipartParser parser("XyZ", memoryLimit, 1024);
    std::size_t start = 0;
    for (const std::size_t cut : cuts) {
        parser.feed(std::string_view(body).substr(start, cut - start));
        start = cut;
    }
    parser.feed(std::string_view(body).substr(start));
    parser.finish();
    if (error) {
        *error = parser.error();
    }
    return std::move(parser.parts());
}

void expectWellParsed(const std::vector<FormPart>& parts, const std::string& cutsDescription)
{
    SCOPED_TRACE(cutsDescription);
    ASSERT_EQ(parts.size(), 4u);
    EXPECT_EQ(parts[0].name, "title");
    EXPECT_EQ(parts[0].fileName, "");
    EXPECT_EQ(parts[0].contentType, "");
    EXPECT_EQ(parts[0].data, "Core 7");

    EXPECT_EQ(parts[1].name, "file");
    EXPECT_EQ(parts[1].fileName, "core 7.las");
    EXPECT_EQ(parts[1].contentType, "application/octet-stream");
    EXPECT_EQ(parts[1].data, kFileData);
    EXPECT_EQ(parts[1].size, kFileData.size());
    EXPECT_EQ(parts[1].checksum, Checksum::of(kFileData));
    ASSERT_EQ(parts[1].headers.size(), 2u);
    EXPECT_EQ(parts[1].headers[1].name, "Content-Type");

    EXPECT_EQ(parts[2].name, "empty");
    EXPECT_EQ(parts[2].data, "");
    EXPECT_EQ(parts[2].size, 0u);
    EXPECT_EQ(parts[2].checksum, Checksum::of(""));

    EXPECT_EQ(parts[3].name, "lieu");
    EXPECT_EQ(parts[3].contentType, "text/plain; charset=utf-8");
    EXPECT_EQ(parts[3].data, "Zürich – 東京");
}

TEST(MultipartParserTest, ParsesWholeBody)
{
    std::string error;
    expectWellParsed(parseInPieces(kBody, {}, &error), "in one piece");
    EXPECT_EQ(error, "");
}

TEST(MultipartParserTest, GivesTheSameResultWhereverTheBodyIsCut)
{
    for (std::size_t cut = 1; cut < kBody.size(); ++cut) {
        std::string error;
        expectWellParsed(parseInPieces(kBody, {cut}, &error), "cut at " + std::to_string(cut));
        EXPECT_EQ(error, "") << "cut at " << cut;
    }
}

TEST(MultipartParserTest, ParsesBodyFedOneByteAtATime)
{
    std::vector<std::size_t> everyByte;
    for (std::size_t i = 1; i < kBody.size(); ++i) {
        everyByte.push_back(i);
    }
    std::string error;
    expectWellParsed(parseInPieces(kBody, everyByte, &error), "byte by byte");
    EXPECT_EQ(error, "");
}

TEST(MultipartParserTest, KeepsOnlyTheMemoryLimitButCountsAndChecksumsEverything)
{
    std::string error;
    const auto parts = parseInPieces(kBody, {100, 101, 200}, &error, 4);
    ASSERT_EQ(parts.size(), 4u);
    EXPECT_EQ(parts[1].data, kFileData.substr(0, 4));
    EXPECT_EQ(parts[1].size, kFileData.size());
    EXPECT_EQ(parts[1].checksum, Checksum::of(kFileData));
    EXPECT_EQ(error, "");
}

TEST(MultipartParserTest, ReportsWhatIsWrongWithMalformedBodies)
{
    const std::string part = "--XyZ\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nvalue";
    struct Case {
        std::string description;
        std::string body;
        std::string expectedError;
    };
    const Case cases[] = {
        {"missing closing delimiter", part, "ends inside part 1 (\"a\") without the closing \"--XyZ--\""},
        {"body cut after a delimiter", part + "\r\n--XyZ", "ends after a delimiter"},
        {"empty body", "", "no delimiter \"--XyZ\""},
        {"other boundary", "--Other\r\n\r\n--Other--", "no delimiter \"--XyZ\""},
        {"text after the delimiter", "--XyZjunk\r\n", "followed by \"junk\\r\\n\""},
        {"single dash", part + "\r\n--XyZ-\r\n", "followed by \"-\\r\\n\""},
        {"no Content-Disposition", "--XyZ\r\nContent-Type: text/plain\r\n\r\nx\r\n--XyZ--", "no Content-Disposition"},
        {"no name", "--XyZ\r\nContent-Disposition: form-data\r\n\r\nx\r\n--XyZ--", "has no name"},
        {"header without colon", "--XyZ\r\nnonsense\r\n\r\nx\r\n--XyZ--", "malformed header line \"nonsense\""},
        {"cut inside part headers", "--XyZ\r\nContent-Disposition: form-data; na", "inside the headers of part 1"},
        {"oversized part headers", "--XyZ\r\nX-Filler: " + std::string(2000, 'f') + "\r\n\r\n", "exceed 1024 bytes"},
    };
    for (const Case& c : cases) {
        std::string error;
        parseInPieces(c.body, {}, &error);
        EXPECT_NE(error.find(c.expectedError), std::string::npos) << c.description << ": " << error;
    }
}

TEST(MultipartParserTest, KeepsPartsBeforeTheErrorAndIgnoresTheRest)
{
    const std::string body = "--XyZ\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n1\r\n"
                             "--XyZ\r\nbroken header\r\n\r\n2\r\n"
                             "--XyZ\r\nContent-Disposition: form-data; name=\"c\"\r\n\r\n3\r\n--XyZ--";
    MultipartParser parser("XyZ", kNoLimit, 1024);
    parser.feed(body);
    parser.finish();
    ASSERT_EQ(parser.parts().size(), 2u);
    EXPECT_EQ(parser.parts()[0].data, "1");
    EXPECT_NE(parser.error().find("part 2"), std::string::npos) << parser.error();
}

TEST(MultipartParserTest, RejectsAnInvalidBoundary)
{
    MultipartParser parser("", kNoLimit, 1024);
    parser.feed("--\r\n");
    parser.finish();
    EXPECT_NE(parser.error().find("invalid multipart boundary"), std::string::npos) << parser.error();
}

TEST(HeaderParametersTest, SplitsValueAndParameters)
{
    const auto disposition = HeaderParameters::parse(
        R"(form-data; NAME="field one"; filename="C:\dir\a%22b.txt"; size=12 ; flag; empty="")");
    EXPECT_EQ(disposition.value, "form-data");
    EXPECT_EQ(disposition.parameter("name"), "field one");
    EXPECT_EQ(disposition.parameter("FileName"), R"(C:\dir\a%22b.txt)");
    EXPECT_EQ(disposition.parameter("size"), "12");
    EXPECT_EQ(disposition.parameter("empty"), "");
    EXPECT_EQ(disposition.parameter("flag"), std::nullopt);

    const auto contentType = HeaderParameters::parse("Multipart/Form-Data;boundary=----abc");
    EXPECT_EQ(contentType.value, "Multipart/Form-Data");
    EXPECT_EQ(contentType.parameter("boundary"), "----abc");

    const auto unterminated = HeaderParameters::parse("a; name=\"open; x=");
    EXPECT_EQ(unterminated.parameter("name"), "open; x=");
    EXPECT_EQ(HeaderParameters::parse("a; name=").parameter("name"), "");
}

} // namespace
} // namespace lithmar::local
