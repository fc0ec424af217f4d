#pragma once
// Every model class with its fields, as the tests expect them: keys in wire
// order, each reached through the class's own public accessors. The generic
// tests run over this table, so a field that is missing, misspelt, out of
// order or of the wrong kind in the generated classes fails in all of them.

#include <lithmar/runtime/ModelBase.h>

#include <cpprest/json.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace lithmar_test {

using com::vantorel::lithmar::ModelBase;

enum class Kind { Text, Int32, Nested, Texts, Models };

struct FieldProbe {
    std::string key;
    Kind kind;
    std::string heldClass; // the nested model's or the list elements' class
    // Stores the sample value of a variant through the setter or the list.
    std::function<void(ModelBase&, int variant)> fill;
    // The sample value of a variant as the model writes it to JSON.
    std::function<web::json::value(int variant)> sampleJson;
    // The field's current value, read through its getter, as JSON.
    std::function<web::json::value(ModelBase&)> get;
    std::function<bool(const ModelBase&)> isSet;
    std::function<void(ModelBase&)> unset;
    // The nested model or the first list element, or null: what copies share.
    std::function<const void*(ModelBase&)> sharedObject;

    bool isList() const { return kind == Kind::Texts || kind == Kind::Models; }
};

struct ModelCase {
    std::string name;
    std::function<std::shared_ptr<ModelBase>()> make;
    std::function<std::shared_ptr<ModelBase>(web::json::value&)> create;
    std::function<std::shared_ptr<ModelBase>(const ModelBase&)> copy;
    std::function<void(ModelBase& target, const ModelBase& source)> assign;
    std::vector<FieldProbe> fields;
};

// One field of one model, for the tests that run once per field.
struct FieldCase {
    const ModelCase* model;
    std::size_t index;

    const FieldProbe& field() const { return model->fields[index]; }
};

const std::vector<ModelCase>& modelCatalog();
const ModelCase& modelCase(const std::string& name);
std::vector<FieldCase> fieldCatalog();

// Test names: "GetSiteResult" and "GetSiteResult_tree".
std::string caseName(const ModelCase& model);
std::string caseName(const FieldCase& field);

// The name generator for INSTANTIATE_TEST_SUITE_P.
struct CaseName {
    template <typename Info>
    std::string operator()(const Info& instance) const
    {
        return caseName(instance.param);
    }
};

void PrintTo(const ModelCase& model, std::ostream* out);
void PrintTo(const FieldCase& field, std::ostream* out);

} // namespace lithmar_test
