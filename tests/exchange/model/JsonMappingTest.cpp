// toJson and fromJson of every model class, driven by the catalogue.
#include "ModelCatalog.h"
#include "Samples.h"

#include <gtest/gtest.h>

namespace lithmar_test {
namespace {

using web::json::value;

class JsonMapping : public testing::TestWithParam<ModelCase> {};

TEST_P(JsonMapping, FreshModelWritesAnEmptyObject)
{
    const auto model = GetParam().make();
    EXPECT_NO_THROW(model->validate());
    EXPECT_EQ(text(model->toJson()), "{}");
}

TEST_P(JsonMapping, FilledModelWritesEveryFieldInTableOrder)
{
    EXPECT_EQ(text(filled(GetParam(), 1)->toJson()), text(fullJson(GetParam(), 1)));
}

TEST_P(JsonMapping, FactoryReadsBackWhatTheModelWrote)
{
    value written = filled(GetParam(), 1)->toJson();
    EXPECT_EQ(text(GetParam().create(written)->toJson()), text(written));
}

TEST_P(JsonMapping, ReadsParsedTextWhateverTheKeyOrderAndIgnoresUnknownKeys)
{
    // Parsed objects keep their keys sorted, so fromJson meets them out of table order.
    value parsed = value::parse(text(fullJson(GetParam(), 1)));
    parsed["aaUnknown"] = value::string("x");
    parsed["zzUnknown"] = value::parse(R"([1, {"a": null}])");
    const auto model = GetParam().make();
    model->fromJson(parsed);
    EXPECT_EQ(text(model->toJson()), text(fullJson(GetParam(), 1)));
}

TEST_P(JsonMapping, ReadingKeepsFieldsWhoseKeysAreMissingButEmptiesLists)
{
    const ModelCase& entry = GetParam();
    // A value other than an object has no keys at all.
    for (value json : {value::object(), value::string("text"), value::array(), value::null(), value::number(3)}) {
        SCOPED_TRACE(text(json));
        const auto model = filled(entry, 1);
        model->fromJson(json);
        EXPECT_EQ(text(model->toJson()), text(listsEmptied(entry, 1)));
        for (const FieldProbe& field : entry.fields) {
            EXPECT_EQ(field.isSet(*model), !field.isList()) << field.key;
        }
    }
}

TEST_P(JsonMapping, CopiesShareNestedModelsAndCopyFlags)
{
    const ModelCase& entry = GetParam();
    const auto source = filled(entry, 1);
    const auto copy = entry.copy(*source);
    const auto assigned = filled(entry, 2);
    entry.assign(*assigned, *source);
    for (const auto& target : {copy, assigned}) {
        EXPECT_EQ(text(target->toJson()), text(source->toJson()));
        for (const FieldProbe& field : entry.fields) {
            EXPECT_EQ(field.isSet(*target), field.isSet(*source)) << field.key;
            EXPECT_EQ(field.sharedObject(*target), field.sharedObject(*source)) << field.key;
            if (field.kind == Kind::Nested || field.kind == Kind::Models) {
                EXPECT_NE(field.sharedObject(*target), nullptr) << field.key;
            }
        }
    }
    // Values and lists are copies: changing the source leaves the copy alone.
    fillAll(*source, entry, 2);
    EXPECT_EQ(text(copy->toJson()), text(fullJson(entry, 1)));
}

INSTANTIATE_TEST_SUITE_P(AllModels, JsonMapping, testing::ValuesIn(modelCatalog()), CaseName());

class JsonField : public testing::TestWithParam<FieldCase> {};

TEST_P(JsonField, SettingOneFieldWritesOnlyItsKey)
{
    const FieldProbe& field = GetParam().field();
    const auto model = GetParam().model->make();
    field.fill(*model, 1);
    value expected = value::object(true);
    expected[field.key] = field.sampleJson(1);
    EXPECT_EQ(text(model->toJson()), text(expected));
    EXPECT_EQ(text(field.get(*model)), text(field.sampleJson(1)));
    // Only a setter raises a flag; a list's flag stays down however it fills.
    EXPECT_EQ(field.isSet(*model), !field.isList());
}

TEST_P(JsonField, UnsettingKeepsTheValueButStopsWritingScalars)
{
    const FieldProbe& field = GetParam().field();
    const auto model = GetParam().model->make();
    field.fill(*model, 1);
    field.unset(*model);
    EXPECT_FALSE(field.isSet(*model));
    EXPECT_EQ(text(field.get(*model)), text(field.sampleJson(1)));
    // A list is written for its elements, whatever its flag says.
    EXPECT_EQ(model->toJson().size(), field.isList() ? 1u : 0u);
}

TEST_P(JsonField, ReadingOneKeyReplacesThatFieldKeepsScalarsAndEmptiesOtherLists)
{
    const ModelCase& entry = *GetParam().model;
    const std::size_t changed = GetParam().index;
    const FieldProbe& field = GetParam().field();
    value json = value::object();
    json[field.key] = field.sampleJson(2);
    const auto model = filled(entry, 1);
    model->fromJson(json);
    const value expected = objectWhere(entry, [&](std::size_t index) -> std::optional<value> {
        if (index == changed) {
            return field.sampleJson(2);
        }
        return entry.fields[index].isList() ? std::nullopt : std::optional<value>(entry.fields[index].sampleJson(1));
    });
    EXPECT_EQ(text(model->toJson()), text(expected));
    EXPECT_EQ(field.isSet(*model), !field.isList());
}

TEST_P(JsonField, NullMeansEmptyForScalarsAndNothingForNestedModels)
{
    const FieldProbe& field = GetParam().field();
    value json = value::object();
    json[field.key] = value::null();
    const auto model = filled(*GetParam().model, 1);
    switch (field.kind) {
    case Kind::Text:
    case Kind::Int32:
        model->fromJson(json);
        EXPECT_EQ(text(field.get(*model)), field.kind == Kind::Text ? R"("")" : "0");
        EXPECT_TRUE(field.isSet(*model));
        break;
    case Kind::Nested:
        model->fromJson(json);
        EXPECT_EQ(text(field.get(*model)), text(field.sampleJson(1)));
        break;
    case Kind::Texts:
    case Kind::Models:
        // A list reads arrays only; the failure still leaves the list emptied.
        EXPECT_THROW(model->fromJson(json), web::json::json_exception);
        EXPECT_EQ(text(field.get(*model)), "[]");
        break;
    }
}

INSTANTIATE_TEST_SUITE_P(AllFields, JsonField, testing::ValuesIn(fieldCatalog()), CaseName());

} // namespace
} // namespace lithmar_test
