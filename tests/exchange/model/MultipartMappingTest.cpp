// toMultipart and fromMultiPart of every model class, driven by the catalogue.
#include "ModelCatalog.h"
#include "Samples.h"

#include <gtest/gtest.h>

namespace lithmar_test {
namespace {

using web::json::value;

class MultipartMapping : public testing::TestWithParam<ModelCase> {};

TEST_P(MultipartMapping, FreshModelAddsNoParts)
{
    const auto form = std::make_shared<MultipartFormData>();
    GetParam().make()->toMultipart(form, L"");
    GetParam().make()->toMultipart(form, L"prefix");
    EXPECT_TRUE(form->parts().empty());
}

TEST_P(MultipartMapping, PartsFollowTheTableAndTheFormedPrefix)
{
    const struct {
        std::wstring given;
        std::wstring formed;
    } prefixes[] = {{L"", L""}, {L"a", L"a."}, {L"a.", L"a."}, {L"outer.inner", L"outer.inner."}};
    for (const auto& prefix : prefixes) {
        const auto form = std::make_shared<MultipartFormData>();
        filled(GetParam(), 1)->toMultipart(form, prefix.given);
        EXPECT_EQ(partsOf(*form), expectedParts(GetParam(), prefix.formed, 1));
    }
}

// Nested models are left out: their parts are named "key.field" while
// reading looks for a part named "key" and then for bare field names.
value withoutNestedModels(const ModelCase& entry, int variant)
{
    return objectWhere(entry, [&](std::size_t index) -> std::optional<value> {
        const FieldProbe& field = entry.fields[index];
        return field.kind == Kind::Nested ? std::nullopt : std::optional<value>(field.sampleJson(variant));
    });
}

TEST_P(MultipartMapping, ReadsBareNamesWhateverThePrefix)
{
    const auto form = std::make_shared<MultipartFormData>();
    filled(GetParam(), 1)->toMultipart(form, L"");
    for (const std::wstring prefix : {L"", L"elsewhere", L"elsewhere."}) {
        const auto model = GetParam().make();
        model->fromMultiPart(form, prefix);
        EXPECT_EQ(text(model->toJson()), text(withoutNestedModels(GetParam(), 1)));
    }
}

TEST_P(MultipartMapping, MissingPartsKeepScalarsAndEmptyLists)
{
    const ModelCase& entry = GetParam();
    const value expected = objectWhere(entry, [&](std::size_t index) -> std::optional<value> {
        const FieldProbe& field = entry.fields[index];
        return field.isList() ? std::nullopt : std::optional<value>(field.sampleJson(1));
    });
    // Parts under a prefix are missing too: reading never looks for one.
    const auto prefixed = std::make_shared<MultipartFormData>();
    filled(entry, 2)->toMultipart(prefixed, L"p");
    for (const auto& form : {std::make_shared<MultipartFormData>(), prefixed}) {
        const auto model = filled(entry, 1);
        model->fromMultiPart(form, L"p");
        EXPECT_EQ(text(model->toJson()), text(expected));
        for (const FieldProbe& field : entry.fields) {
            EXPECT_EQ(field.isSet(*model), !field.isList()) << field.key;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllModels, MultipartMapping, testing::ValuesIn(modelCatalog()), CaseName());

} // namespace
} // namespace lithmar_test
