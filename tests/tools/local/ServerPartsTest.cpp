#include <tools/local/server/BoundaryFinder.h>
#include <tools/local/server/Checksum.h>
#include <tools/local/server/HeaderParameters.h>
#include <tools/local/server/MultipartParser.h>
#include <tools/local/server/PathPattern.h>
#include <tools/local/server/RequestFraming.h>
#include <tools/local/server/RequestLog.h>

#include <tests/support/RawClient.h>

#include <gmock/gmock.h>

#include <numeric>
#include <stdexcept>

namespace lithmar::local {
namespace {

using namespace std::string_literals;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;
using Params = std::map<std::string, std::string>;

TEST(PathPatternTest, MatchesCapturesAndRejectsMalformedPatterns)
{
    const std::tuple<std::string, std::string, std::optional<Params>> cases[] = {
        {"/common/sites/v1", "/common/sites/v1/", std::nullopt}, {"/common/sites/v1", "/common/sites", std::nullopt},
        {"/a/{x}/b/{y}", "/a/1/b/2", Params{{"x", "1"}, {"y", "2"}}}, {"/a/{x}", "/a/", std::nullopt},
        {"/files/{rest...}", "/files/a/b/c.txt", Params{{"rest", "a/b/c.txt"}}}, {"/files/{rest...}", "/filesX", {}},
        {"/files/{rest...}", "/files", Params{{"rest", ""}}}, {"/files/*", "/files/x/y", Params{{"*", "x/y"}}},
        {"*", "/any/thing", Params{{"*", "/any/thing"}}}, {"/", "/", Params{}}, {"/", "/x", {}}, {"/x", "x", {}},
    };
    for (const auto& [pattern, path, expected] : cases) {
        EXPECT_EQ(PathPattern(pattern).match(path), expected) << pattern << " against " << path;
    }
    const std::pair<std::string, std::string> malformed[] = {
        {"", "must start with '/'"}, {"/a/{...}", "without a valid name"}, {"/a/x{id}", "must be a whole segment"},
        {"/a/{rest...}/b", "only the last segment"}, {"/*/b", "only the last segment"},
    };
    for (const auto& [pattern, reason] : malformed) {
        EXPECT_THAT([&] { PathPattern{pattern}; }, ThrowsMessage<std::invalid_argument>(HasSubstr(reason)));
    }
}

// find() takes the AVX2 path where the machine has it; both searches must
// agree at every start offset, near misses and cut delimiters included.
TEST(BoundaryFinderTest, VectorAndPortableSearchesAgree)
{
    const std::string delimiter = "\r\n------------------------d74496d66958873e";
    const BoundaryFinder finder(delimiter);
    std::string nearMiss = delimiter;
    nearMiss[10] = 'x';
    const std::string text = test::pseudoRandomBytes(300, 3) + nearMiss + test::pseudoRandomBytes(77, 4) + delimiter +
                             "tail" + delimiter + delimiter.substr(0, 20);
    for (std::size_t offset = 0; offset <= text.size(); ++offset) {
        const std::string_view rest = std::string_view(text).substr(offset);
        EXPECT_EQ(finder.find(rest), rest.find(delimiter)) << "from offset " << offset;
        EXPECT_EQ(finder.findWithoutVectors(rest), rest.find(delimiter)) << "from offset " << offset;
    }
}

// Reference XXH3 values pin the algorithm, so a client may compare with
// `xxhsum -H3` (the multipart tests compare sums over pieces with whole ones).
TEST(ChecksumTest, MatchesReferenceXxh3)
{
    std::string everyByte(4 * 256, '\0');
    std::iota(everyByte.begin(), everyByte.end(), '\0');
    EXPECT_EQ(Checksum::of(""), 0x2d06800538d394c2ULL);
    EXPECT_EQ(Checksum::of("abc"), 0x78af5f94892f3950ULL);
    EXPECT_EQ(Checksum::of(everyByte + "xyz"), 0xfcda6eebc21f2ff1ULL);
}

// Near misses of the delimiter inside file data and a part ending in "\r\n-"
// make cut points around them interesting.
const std::string kFileData = "\r\n--XyY\r\n--Xy\r\nbinary\0data\r\n-"s;
const std::string kBody = "preamble\r\n--XyZ\r\n"
                          "Content-Disposition: form-data; flag; NAME=title ; x=1\r\n\r\n"
                          "Core 7\r\n--XyZ\r\n"
                          "Content-Disposition: form-data; name=\"file\"; filename=\"C:\\dir\\core; 7.las\"\r\n"
                          "Content-Type: application/octet-stream\r\n\r\n" +
                          kFileData +
                          "\r\n--XyZ  \r\n" // transport padding
                          "Content-Disposition: form-data; name=\"empty\"\r\n\r\n"
                          "\r\n--XyZ\r\n"
                          "content-disposition: form-data; name=\"lieu\"\r\n\r\n"
                          "Zürich – 東京\r\n--XyZ--\r\nepilogue";

MultipartParser parseInPieces(const std::string& body, std::size_t piece, std::size_t memoryLimit = 1 << 20)
{
    MultipartParser parser("XyZ", memoryLimit, 1024);
    for (std::size_t at = 0; at < body.size(); at += piece) {
        parser.feed(std::string_view(body).substr(at, piece));
    }
    parser.finish();
    return parser;
}

TEST(MultipartParserTest, GivesTheSameResultWhereverTheBodyIsCut)
{
    // Pieces of every size put a cut at every offset, and one byte at a time
    // cuts a delimiter into several pieces; odd sizes keep 4 bytes per part.
    for (std::size_t piece = 1; piece <= kBody.size(); ++piece) {
        SCOPED_TRACE("pieces of " + std::to_string(piece) + " bytes");
        const std::size_t memoryLimit = piece % 2 == 1 ? 4 : 1 << 20;
        auto parser = parseInPieces(kBody, piece, memoryLimit);
        EXPECT_EQ(parser.error(), "");
        const auto& parts = parser.parts();
        ASSERT_EQ(parts.size(), 4u);
        const std::string names[] = {"title", "file", "empty", "lieu"};
        const std::string data[] = {"Core 7", kFileData, "", "Zürich – 東京"};
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_EQ(parts[i].name, names[i]);
            EXPECT_EQ(parts[i].data, data[i].substr(0, memoryLimit));
            EXPECT_EQ(parts[i].size, data[i].size());
            EXPECT_EQ(parts[i].checksum, Checksum::of(data[i]));
        }
        EXPECT_EQ(parts[1].fileName, "C:\\dir\\core; 7.las");
        EXPECT_EQ(parts[1].contentType, "application/octet-stream");
        EXPECT_EQ(parts[1].headers.at(1).name, "Content-Type");
    }
}

TEST(MultipartParserTest, ReportsWhatIsWrongAndKeepsThePartsBefore)
{
    const std::string part = "--XyZ\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nvalue";
    const std::tuple<std::string, std::string, std::size_t> cases[] = {
        {part, "ends inside part 1 (\"a\") without the closing \"--XyZ--\"", 1},
        {part + "\r\n--XyZ", "ends after a delimiter", 1}, {"", "no delimiter \"--XyZ\"", 0},
        {"--XyZjunk\r\n", "followed by \"junk\\r\\n\"", 0}, {part + "\r\n--XyZ-\r\n", "followed by \"-\\r\\n\"", 1},
        {"--XyZ\r\nContent-Type: text/plain\r\n\r\nx\r\n--XyZ--", "part 1 has no Content-Disposition", 1},
        {"--XyZ\r\nContent-Disposition: form-data\r\n\r\nx\r\n--XyZ--", "has no name", 1},
        {part + "\r\n--XyZ\r\nnonsense\r\n\r\n2\r\n" + part + "\r\n--XyZ--", "part 2 has a malformed header line", 2},
        {"--XyZ\r\nContent-Disposition: form-data; na", "inside the headers of part 1", 1},
        {"--XyZ\r\nX-Filler: " + std::string(2000, 'f') + "\r\n\r\n", "exceed 1024 bytes", 1},
    };
    for (const auto& [body, expectedError, partsKept] : cases) {
        auto parser = parseInPieces(body, body.size() + 1);
        EXPECT_THAT(parser.error(), HasSubstr(expectedError)) << body;
        EXPECT_EQ(parser.parts().size(), partsKept) << body;
    }
    MultipartParser invalid("", 1 << 20, 1024);
    invalid.finish();
    EXPECT_THAT(invalid.error(), HasSubstr("invalid multipart boundary"));
    EXPECT_EQ(HeaderParameters::parse("a; name=").parameter("name"), "");
}

// Beast refuses differing Content-Lengths itself, so the server never gets
// to this rule (the other rules are held on the wire).
TEST(RequestFramingTest, NamesDifferingContentLengths)
{
    EXPECT_EQ(framingProblem({{"Host", "a"}, {"Content-Length", "3, 4"}}, 11), "Content-Length values differ (3, 4)");
}

TEST(RequestLogTest, DropsTheOldestEntriesAndCutsBodiesToItsLimits)
{
    RequestLog off(0, 100), log(3, 4);
    for (int i = 1; i <= 5; ++i) {
        RecordedRequest request;
        request.path = "/" + std::to_string(i);
        request.body = "body" + std::to_string(i);
        request.bodySize = request.body.size();
        request.parts.push_back(FormPart{"", "", "", {}, "part data", 9, 0, ""});
        log.add(request);
        off.add(request);
    }
    EXPECT_EQ(off.size(), 0u);
    const auto requests = log.snapshot();
    ASSERT_EQ(requests.size(), 3u);
    EXPECT_EQ(requests[0].path + requests[2].path + requests[2].body + requests[2].parts.at(0).data, "/3/5bodypart");
    EXPECT_EQ(std::pair(requests[2].bodyTruncated, requests[2].bodySize), std::pair(true, std::size_t{5}));
    // Every request counts for a waiting test, also those dropped.
    EXPECT_TRUE(log.waitFor(5, std::chrono::milliseconds(0)));
    log.clear();
    EXPECT_FALSE(log.waitFor(1, std::chrono::milliseconds(0)));
}

} // namespace
} // namespace lithmar::local
