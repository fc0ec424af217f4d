// toMultipart and fromMultiPart of every model class, driven by the catalogue.
#include "ModelCatalog.h"
#include "Samples.h"

#include <gtest/gtest.h>

namespace lithmar_test {
namespace {

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
        const auto form = writtenForm(*filled(GetParam(), 1), prefix.given);
        EXPECT_EQ(partsOf(*form), expectedParts(GetParam(), prefix.formed, 1));
    }
}

TEST_P(MultipartMapping, ReadsBareNamesWhateverThePrefix)
{
    const auto form = writtenForm(*filled(GetParam(), 1), L"");
    for (const std::wstring prefix : {L"", L"elsewhere", L"elsewhere."}) {
        const auto model = GetParam().make();
        model->fromMultiPart(form, prefix);
        // Nested models stay unread: their parts are named "key.field", while
        // reading looks for a part named "key" and then for bare field names.
        const auto isNested = [](const FieldProbe& field) { return field.kind == Kind::Nested; };
        EXPECT_EQ(text(model->toJson()), text(fullJsonWithout(GetParam(), 1, isNested)));
    }
}

TEST_P(MultipartMapping, MissingPartsKeepScalarsAndEmptyLists)
{
    const ModelCase& entry = GetParam();
    // Parts under a prefix are missing too: reading never looks for one.
    const auto prefixed = writtenForm(*filled(entry, 2), L"p");
    for (const auto& form : {std::make_shared<MultipartFormData>(), prefixed}) {
        const auto model = filled(entry, 1);
        model->fromMultiPart(form, L"p");
        EXPECT_EQ(text(model->toJson()), text(listsEmptied(entry, 1)));
        for (const FieldProbe& field : entry.fields) {
            EXPECT_EQ(field.isSet(*model), !field.isList()) << field.key;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllModels, MultipartMapping, testing::ValuesIn(modelCatalog()), CaseName());

} // namespace
} // namespace lithmar_test
