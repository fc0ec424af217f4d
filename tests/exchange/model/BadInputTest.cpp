// Bad input for every field of every model, in JSON and in form parts: the
// reading throws, and the model keeps what it stored before the failing field
// and what it held after it.
#include "ModelCatalog.h"
#include "Samples.h"

#include <lithmar/runtime/Utf8.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace lithmar_test {
namespace {

using com::vantorel::lithmar::EncodingError;
using web::json::value;

const std::string notUtf8 = "\xC3\x28";

enum class Failure { JsonType, Encoding, Integer };

struct BadInput {
    std::string what;
    Failure failure;
};

void expectFailure(Failure failure, const std::function<void()>& reading)
{
    switch (failure) {
    case Failure::JsonType: EXPECT_THROW(reading(), web::json::json_exception); break;
    case Failure::Encoding: EXPECT_THROW(reading(), EncodingError); break;
    case Failure::Integer: EXPECT_THROW(reading(), std::invalid_argument); break;
    }
}

// The key of the first string or integer field of a model class, which an
// element or nested model fails on; empty when the class has none.
std::string firstScalarKey(const std::string& heldClass)
{
    for (const FieldProbe& field : modelCase(heldClass).fields) {
        if (field.kind == Kind::Text || field.kind == Kind::Int32) {
            return field.key;
        }
    }
    return {};
}

std::vector<std::pair<value, BadInput>> badJson(const FieldProbe& field)
{
    const auto failingModel = [&](const value& scalar) {
        value model = value::object();
        model[firstScalarKey(field.heldClass)] = scalar;
        return model;
    };
    switch (field.kind) {
    case Kind::Text:
        return {{value::number(5), {"a number", Failure::JsonType}},
                {value::boolean(true), {"a boolean", Failure::JsonType}},
                {value::object(), {"an object", Failure::JsonType}},
                {value::array({value::string("x")}), {"an array", Failure::JsonType}},
                {value::string(notUtf8), {"bytes that are not UTF-8", Failure::Encoding}}};
    case Kind::Int32:
        return {{value::string("5"), {"a string", Failure::JsonType}},
                {value::number(1.5), {"a fraction", Failure::JsonType}},
                {value::number(int64_t{2147483648}), {"a number past the range", Failure::JsonType}},
                {value::number(int64_t{-2147483649}), {"a number below the range", Failure::JsonType}},
                {value::object(), {"an object", Failure::JsonType}}};
    case Kind::Nested:
        if (firstScalarKey(field.heldClass).empty()) {
            return {};
        }
        return {{failingModel(value::number(5)), {"a model with a wrong-typed field", Failure::JsonType}}};
    case Kind::Texts:
        return {{value::object(), {"an object", Failure::JsonType}},
                {value::string("x"), {"a string", Failure::JsonType}},
                {value::array({value::number(5)}), {"a number element", Failure::JsonType}},
                {value::array({value::string(notUtf8)}), {"an element that is not UTF-8", Failure::Encoding}}};
    case Kind::Models:
        return {{value::object(), {"an object", Failure::JsonType}},
                {value::string("x"), {"a string", Failure::JsonType}},
                {value::array({failingModel(value::number(5))}), {"a wrong-typed element", Failure::JsonType}},
                {value::array({failingModel(value::string(notUtf8))}), {"an element not UTF-8", Failure::Encoding}}};
    }
    return {};
}

std::vector<std::pair<std::string, BadInput>> badParts(const FieldProbe& field)
{
    switch (field.kind) {
    case Kind::Text: return {{notUtf8, {"bytes that are not UTF-8", Failure::Encoding}}};
    case Kind::Int32:
        return {{"12x", {"trailing letters", Failure::Integer}},
                {"", {"no digits", Failure::Integer}},
                {"1.5", {"a fraction", Failure::Integer}},
                {"2147483648", {"a number past the range", Failure::Integer}}};
    case Kind::Nested: return {};
    case Kind::Texts:
        return {{"[\"a\",", {"a malformed array", Failure::JsonType}},
                {"", {"no text", Failure::JsonType}},
                {"{}", {"an object", Failure::JsonType}},
                {"[5]", {"a number element", Failure::JsonType}},
                {"[\"" + notUtf8 + "\"]", {"text that is not UTF-8", Failure::Encoding}}};
    case Kind::Models:
        return {{"[{\"a\":", {"a malformed array", Failure::JsonType}},
                {"\"x\"", {"a string", Failure::JsonType}},
                {"[{\"" + firstScalarKey(field.heldClass) + "\": 5}]", {"a wrong-typed element", Failure::JsonType}}};
    }
    return {};
}

// Fields before the failing one hold the new reading (`readBefore` says
// which of them a reading reaches), the failing one keeps its old value
// (a list comes out empty), and the fields after it keep the old values.
value stateAfterFailure(const FieldCase& failing, const std::function<bool(const FieldProbe&)>& readBefore)
{
    const ModelCase& entry = *failing.model;
    return objectWhere(entry, [&](std::size_t index) -> std::optional<value> {
        const FieldProbe& field = entry.fields[index];
        if (index == failing.index && field.isList()) {
            return std::nullopt;
        }
        return field.sampleJson(index < failing.index && readBefore(field) ? 2 : 1);
    });
}

class BadInputField : public testing::TestWithParam<FieldCase> {};

TEST_P(BadInputField, JsonStopsAtTheFailingField)
{
    const FieldProbe& field = GetParam().field();
    for (const auto& [bad, input] : badJson(field)) {
        SCOPED_TRACE(input.what);
        value json = fullJson(*GetParam().model, 2);
        json[field.key] = bad;
        const auto model = filled(*GetParam().model, 1);
        expectFailure(input.failure, [&] { model->fromJson(json); });
        EXPECT_EQ(text(model->toJson()), text(stateAfterFailure(GetParam(), [](const FieldProbe&) { return true; })));
    }
}

TEST_P(BadInputField, FormStopsAtTheFailingPart)
{
    const FieldProbe& field = GetParam().field();
    const std::wstring name = wide(field.key);
    const auto goodParts = writtenForm(*filled(*GetParam().model, 2), L"");
    for (const auto& [bytes, input] : badParts(field)) {
        SCOPED_TRACE(input.what);
        const auto form = formOf({{name, bytes}});
        for (const auto& part : goodParts->parts()) {
            if (part->getName() != name) {
                form->add(part);
            }
        }
        const auto model = filled(*GetParam().model, 1);
        expectFailure(input.failure, [&] { model->fromMultiPart(form, L""); });
        // A nested model is only read from a part named by its key, which
        // toMultipart never adds.
        const auto isReadFromForm = [](const FieldProbe& before) { return before.kind != Kind::Nested; };
        EXPECT_EQ(text(model->toJson()), text(stateAfterFailure(GetParam(), isReadFromForm)));
    }
}

INSTANTIATE_TEST_SUITE_P(AllFields, BadInputField, testing::ValuesIn(fieldCatalog()), CaseName());

} // namespace
} // namespace lithmar_test
