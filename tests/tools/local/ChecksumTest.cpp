#include <tools/local/server/Checksum.h>

#include "RawClient.h"

#include <gtest/gtest.h>

#include <string>

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

// Values from the reference XXH64 implementation (libxxhash), seed 0. The
// lengths cover each path of the algorithm: short input, one full stripe
// plus a tail, and many stripes with 8-, 4- and 1-byte tails.
TEST(ChecksumTest, MatchesReferenceXxh64)
{
    struct Case {
        std::string input;
        std::uint64_t expected;
    };
    const Case cases[] = {
        {"", 0xef46db3751d8e999ULL},
        {"a", 0xd24ec4f1a98c6e5bULL},
        {"abc", 0x44bc2cf5ad770999ULL},
        {"0123456789abcdef0123456789abcdef!", 0x8afff4daac4e677eULL},
        {everyByteFourTimesThenXyz(), 0xe146cb31b65bc21aULL},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Checksum::of(c.input), c.expected) << "input of " << c.input.size() << " bytes";
    }
}

TEST(ChecksumTest, DoesNotDependOnHowTheInputIsCut)
{
    const std::string data = testing::pseudoRandomBytes(1000, 7);
    const std::uint64_t whole = Checksum::of(data);
    for (std::size_t piece = 1; piece <= 70; ++piece) {
        Checksum checksum;
        for (std::size_t offset = 0; offset < data.size(); offset += piece) {
            checksum.update(std::string_view(data).substr(offset, piece));
        }
        EXPECT_EQ(checksum.value(), whole) << "pieces of " << piece << " bytes";
    }
}

} // namespace
} // namespace lithmar::local
