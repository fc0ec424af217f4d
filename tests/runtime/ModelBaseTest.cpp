#include <lithmar/runtime/ModelBase.h>
#include <lithmar/runtime/Utf8.h>

#include <gtest/gtest.h>

namespace lithmar = com::vantorel::lithmar;
using lithmar::ModelBase;

namespace {

template <typename Convert>
std::string failureOf(Convert convert, const char* json)
{
    auto value = web::json::value::parse(json);
    try {
        convert(value);
    } catch (const web::json::json_exception& error) {
        return error.what();
    }
    return "no exception";
}

TEST(ModelBaseJson, StringsReadNullAsEmptyAndRefuseOtherTypes)
{
    auto text = web::json::value::string("G\xc3\xa9o");
    EXPECT_EQ(ModelBase::stringFromJson(text), L"G\u00e9o");
    auto null = web::json::value::null();
    EXPECT_EQ(ModelBase::stringFromJson(null), L"");
    const auto read = [](web::json::value& v) { ModelBase::stringFromJson(v); };
    EXPECT_EQ(failureOf(read, "12"), "expected a JSON string but found a number");
    EXPECT_EQ(failureOf(read, "[\"a\"]"), "expected a JSON string but found an array");
    EXPECT_EQ(failureOf(read, "{}"), "expected a JSON string but found an object");
    EXPECT_EQ(failureOf(read, "true"), "expected a JSON string but found a boolean");
}

TEST(ModelBaseJson, IntegersMustFitIn32Bits)
{
    for (const char* json : {"0", "-2147483648", "2147483647", "42"}) {
        auto value = web::json::value::parse(json);
        EXPECT_EQ(std::to_string(ModelBase::int32_tFromJson(value)), json);
    }
    auto null = web::json::value::null();
    EXPECT_EQ(ModelBase::int32_tFromJson(null), 0);
    const auto read = [](web::json::value& v) { ModelBase::int32_tFromJson(v); };
    EXPECT_EQ(failureOf(read, "2147483648"), "expected a 32-bit integer but found 2147483648");
    EXPECT_EQ(failureOf(read, "1.5"), "expected a 32-bit integer but found 1.5");
    EXPECT_EQ(failureOf(read, "\"7\""), "expected a JSON integer but found a string");
}

TEST(ModelBaseJson, WritesValuesAndNullModels)
{
    EXPECT_EQ(ModelBase::toJson(std::wstring(L"a\"b\\c\n\u0001\u00e9")).serialize(), "\"a\\\"b\\\\c\\n\\u0001\xc3\xa9\"");
    EXPECT_EQ(ModelBase::toJson(std::wstring(L"\u00e9")).serialize(), "\"\xc3\xa9\"");
    EXPECT_EQ(ModelBase::toJson(int32_t{-3}).serialize(), "-3");
    EXPECT_TRUE(ModelBase::toJson(std::shared_ptr<ModelBase>()).is_null());
}

TEST(ModelBaseJson, InvalidUtf8InAJsonStringIsAnEncodingError)
{
    auto value = web::json::value::string("bad \xff byte");
    EXPECT_THROW(ModelBase::stringFromJson(value), lithmar::EncodingError);
}

TEST(ModelBaseParts, TextPartsRoundTripAndAnnounceOnlyGivenContentTypes)
{
    const auto part = ModelBase::toHttpContent(L"siteName", L"\u5730\u8cea \u00e9");
    EXPECT_EQ(part->getName(), L"siteName");
    EXPECT_EQ(part->getContentType(), L"");
    EXPECT_EQ(part->getFileName(), L"");
    EXPECT_EQ(part->headerText().find("Content-Type"), std::string::npos);
    EXPECT_EQ(ModelBase::stringFromHttpContent(part), L"\u5730\u8cea \u00e9");
    EXPECT_EQ(ModelBase::stringFromHttpContent(part), L"\u5730\u8cea \u00e9") << "reading twice gives the same text";

    const auto number = ModelBase::toHttpContent(L"numberOfFiles", int32_t{-12});
    EXPECT_EQ(ModelBase::int32_tFromHttpContent(number), -12);

    const auto json = ModelBase::toHttpContent(L"ids", web::json::value::parse("[\"a\",\"b\"]"), L"application/json");
    EXPECT_EQ(json->getContentType(), L"application/json");
    EXPECT_EQ(ModelBase::stringFromHttpContent(json), L"[\"a\",\"b\"]");
}

TEST(ModelBaseParts, RenamingAPartKeepsItsDataAndAnnouncements)
{
    auto file = std::make_shared<lithmar::HttpContent>();
    file->setName(L"original");
    file->setFileName(L"a.csv");
    file->setContentType(L"text/csv");
    file->setContentDisposition(L"form-data");
    file->setData(std::make_shared<std::istringstream>("1,2"));
    const auto renamed = ModelBase::toHttpContent(L"my-upload", file);
    EXPECT_EQ(renamed->getName(), L"my-upload");
    EXPECT_EQ(renamed->getFileName(), L"a.csv");
    EXPECT_EQ(renamed->getContentType(), L"text/csv");
    EXPECT_EQ(renamed->getData(), file->getData());
}

TEST(ModelBaseParts, IntegersFromPartsAreStrict)
{
    for (const wchar_t* text : {L"", L"12abc", L" 1", L"2147483648", L"1.0"}) {
        EXPECT_THROW(ModelBase::int32_tFromHttpContent(ModelBase::toHttpContent(L"n", std::wstring(text))),
                     std::invalid_argument)
            << lithmar::toUtf8(text);
    }
}

TEST(ModelBaseParts, InvalidUtf8DataIsAnEncodingError)
{
    auto part = std::make_shared<lithmar::HttpContent>();
    part->setData(std::make_shared<std::istringstream>("\xc3"));
    EXPECT_THROW(ModelBase::stringFromHttpContent(part), lithmar::EncodingError);
}

} // namespace
