#include <tools/local/server/Checksum.h>

#include "RawClient.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace lithmar::local {
namespace {

std::string everyByteFourTimesThenXyz()
{
    std::string text;
    for (int round = 0; round < 4; ++round) {
        for (int byte = 0; byte < 256; ++byte) {
            text += static_cast<char>(byte);
        }
    }
    return text + "xyz";
}

// Values of the reference implementation (libxxhash's XXH3_64bits), which
// pin the algorithm: a client test may compare with `xxhsum -H3` of a file.
// The lengths go through each of its paths: up to 16, 17 to 128, 129 to 240
// bytes, and long input over one and several blocks.
TEST(ChecksumTest, MatchesReferenceXxh3)
{
    struct Case {
        std::string input;
        std::uint64_t expected;
    };
    const std::string everyByte = everyByteFourTimesThenXyz();
    const Case cases[] = {
        {"", 0x2d06800538d394c2ULL},
        {"a", 0xe6c632b61e964e1fULL},
        {"abc", 0x78af5f94892f3950ULL},
        {"0123456789abcdef0123456789abcdef!", 0xbf3df1ebd09cd7e6ULL},
        {everyByte, 0xfcda6eebc21f2ff1ULL},
        {everyByte + everyByte + everyByte + everyByte + everyByte, 0x062c3811ec4e5a31ULL},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Checksum::of(c.input), c.expected) << "input of " << c.input.size() << " bytes";
    }
}

TEST(ChecksumTest, DoesNotDependOnHowTheInputIsCut)
{
    const std::string data = testing::pseudoRandomBytes(3000, 7);
    const std::uint64_t whole = Checksum::of(data);
    std::vector<std::size_t> pieceSizes = {255, 256, 257, 1023, 1024, 1025};
    for (std::size_t size = 1; size <= 70; ++size) {
        pieceSizes.push_back(size);
    }
    for (const std::size_t piece : pieceSizes) {
        Checksum checksum;
        for (std::size_t offset = 0; offset < data.size(); offset += piece) {
            checksum.update(std::string_view(data).substr(offset, piece));
        }
        EXPECT_EQ(checksum.value(), whole) << "pieces of " << piece << " bytes";
    }
}

} // namespace
} // namespace lithmar::local
