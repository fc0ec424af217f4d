#include <lithmar/runtime/ApiException.h>

#include <gtest/gtest.h>

#include <sstream>

namespace lithmar = com::vantorel::lithmar;

namespace {

TEST(ApiException, CarriesCodeMessageAndContent)
{
    auto body = std::make_shared<std::stringstream>("{\"error\":\"no such site\"}");
    const lithmar::ApiException error(404, L"error calling getSite: Not Found \u2014 site", body);

    EXPECT_EQ(error.error_code().value(), 404);
    EXPECT_EQ(error.getMessage(), L"error calling getSite: Not Found \u2014 site");
    EXPECT_STREQ(error.what(), "error calling getSite: Not Found \xe2\x80\x94 site");
    ASSERT_NE(error.getContent(), nullptr);
    std::string text;
    std::getline(*error.getContent(), text);
    EXPECT_EQ(text, "{\"error\":\"no such site\"}");
}

TEST(ApiException, IsCaughtAsEveryBaseAndCopiesShareTheContent)
{
    auto body = std::make_shared<std::stringstream>("x");
    try {
        throw lithmar::ApiException(500, L"boom", body);
    } catch (const web::http::http_exception& error) {
        EXPECT_EQ(error.error_code().value(), 500);
        const auto* api = dynamic_cast<const lithmar::ApiException*>(&error);
        ASSERT_NE(api, nullptr);
        lithmar::ApiException copy = *api;
        EXPECT_EQ(copy.getContent(), body);
        EXPECT_EQ(copy.getMessage(), L"boom");
    }
    try {
        throw lithmar::ApiException(400, L"bad", nullptr);
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "bad");
    }
}

TEST(ApiException, WithoutContentHasNullStream)
{
    EXPECT_EQ(lithmar::ApiException(408, L"Timeout waiting for response.").getContent(), nullptr);
}

TEST(ApiException, MessageWithInvalidCharacterStillConstructs)
{
    const lithmar::ApiException error(500, std::wstring(L"bad ") + wchar_t(0xDC00) + L"end");
    EXPECT_STREQ(error.what(), "bad end");
}

} // namespace
