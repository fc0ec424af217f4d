#include <lithmar/runtime/Utf8.h>

#include <gtest/gtest.h>

namespace lithmar = com::vantorel::lithmar;

namespace {

struct RoundTrip {
    const char* label;
    std::wstring wide;
    std::string utf8;
};

class Utf8RoundTrip : public testing::TestWithParam<RoundTrip> {};

TEST_P(Utf8RoundTrip, ConvertsBothWays)
{
    EXPECT_EQ(lithmar::toUtf8(GetParam().wide), GetParam().utf8);
    EXPECT_EQ(lithmar::fromUtf8(GetParam().utf8), GetParam().wide);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Utf8RoundTrip,
    testing::Values(RoundTrip{"empty", L"", ""}, RoundTrip{"ascii", L"site-1", "site-1"},
                    RoundTrip{"latin", L"G\u00e9ologie", "G\xc3\xa9ologie"},
                    RoundTrip{"cjk", L"\u5730\u8cea", "\xe5\x9c\xb0\xe8\xb3\xaa"},
                    RoundTrip{"astral", L"\U0001F30B", "\xf0\x9f\x8c\x8b"},
                    RoundTrip{"embedded nul", std::wstring(L"a\0b", 3), std::string("a\0b", 3)}),
    [](const auto& testInfo) {
        std::string name = testInfo.param.label;
        std::replace(name.begin(), name.end(), ' ', '_');
        return name;
    });

struct BadUtf8 {
    const char* label;
    std::string bytes;
    const char* where;
};

class Utf8Invalid : public testing::TestWithParam<BadUtf8> {};

TEST_P(Utf8Invalid, ThrowsAndSaysWhere)
{
    try {
        lithmar::fromUtf8(GetParam().bytes);
        FAIL() << "accepted invalid UTF-8";
    } catch (const lithmar::EncodingError& error) {
        EXPECT_NE(std::string(error.what()).find(GetParam().where), std::string::npos) << error.what();
    }
}

INSTANTIATE_TEST_SUITE_P(Bytes, Utf8Invalid,
                         testing::Values(BadUtf8{"lone_continuation", "ab\x80", "byte 2"},
                                         BadUtf8{"truncated_sequence", "abc\xe5\x9c", "byte 3"},
                                         BadUtf8{"overlong_slash", "\xc0\xaf", "byte 0"},
                                         BadUtf8{"encoded_surrogate", "x\xed\xa0\x80", "byte 1"},
                                         BadUtf8{"past_unicode", "\xf4\x90\x80\x80", "byte 0"},
                                         BadUtf8{"latin1_text", "G\xe9ologie", "byte 1"}),
                         [](const auto& testInfo) { return std::string(testInfo.param.label); });

TEST(Utf8, RejectsWideTextThatIsNotUnicode)
{
    EXPECT_THROW(lithmar::toUtf8(std::wstring(L"ok") + wchar_t(0xD800)), lithmar::EncodingError);
    EXPECT_THROW(lithmar::toUtf8(std::wstring(1, wchar_t(0x110000))), lithmar::EncodingError);
}

} // namespace
