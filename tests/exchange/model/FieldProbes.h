#pragma once
// Builds the catalogue's entries from member pointers to the public
// accessors. The parameter types spell out each accessor's signature, so a
// getter that is not const, a setter that does not take its value by value or
// a list getter that does not hand out a mutable reference fails to compile.

#include "ModelCatalog.h"
#include "Samples.h"

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace lithmar_test {

template <typename Model>
Model& as(ModelBase& model)
{
    return dynamic_cast<Model&>(model);
}

template <typename Model>
const Model& as(const ModelBase& model)
{
    return dynamic_cast<const Model&>(model);
}

inline FieldProbe namedProbe(std::string key, Kind kind, std::string heldClass)
{
    FieldProbe probe;
    probe.key = std::move(key);
    probe.kind = kind;
    probe.heldClass = std::move(heldClass);
    return probe;
}

template <typename Model, typename Owner>
void addFlagAccessors(FieldProbe& probe, bool (Owner::*isSet)() const, void (Owner::*unset)())
{
    probe.isSet = [isSet](const ModelBase& model) { return (as<Model>(model).*isSet)(); };
    probe.unset = [unset](ModelBase& model) { (as<Model>(model).*unset)(); };
}

template <typename Model, typename Owner, typename Value>
FieldProbe scalarProbe(std::string key, Kind kind, std::string heldClass, std::function<Value(int)> sample,
                       Value (Owner::*get)() const, void (Owner::*set)(Value), bool (Owner::*isSet)() const,
                       void (Owner::*unset)())
{
    FieldProbe probe = namedProbe(std::move(key), kind, std::move(heldClass));
    probe.fill = [set, sample](ModelBase& model, int variant) { (as<Model>(model).*set)(sample(variant)); };
    probe.get = [get](ModelBase& model) { return ModelBase::toJson((as<Model>(model).*get)()); };
    probe.sharedObject = [](ModelBase&) -> const void* { return nullptr; };
    addFlagAccessors<Model>(probe, isSet, unset);
    return probe;
}

template <typename Model, typename Owner, typename Element>
FieldProbe listProbe(std::string key, Kind kind, std::string heldClass, std::function<Element(int, int)> sample,
                     std::vector<Element>& (Owner::*get)(), bool (Owner::*isSet)() const, void (Owner::*unset)())
{
    FieldProbe probe = namedProbe(std::move(key), kind, std::move(heldClass));
    // Two elements: the sample and a second one (null for lists of models).
    probe.fill = [get, sample](ModelBase& model, int variant) {
        (as<Model>(model).*get)() = {sample(variant, 0), sample(variant, 1)};
    };
    probe.get = [get](ModelBase& model) {
        std::vector<web::json::value> elements;
        for (const Element& element : (as<Model>(model).*get)()) {
            elements.push_back(ModelBase::toJson(element));
        }
        return web::json::value::array(std::move(elements));
    };
    probe.sharedObject = [](ModelBase&) -> const void* { return nullptr; };
    addFlagAccessors<Model>(probe, isSet, unset);
    return probe;
}

template <typename Model, typename Owner>
FieldProbe textProbe(std::string key, std::wstring (Owner::*get)() const, void (Owner::*set)(std::wstring),
                     bool (Owner::*isSet)() const, void (Owner::*unset)())
{
    auto sample = [key](int variant) { return sampleText(key, variant); };
    FieldProbe probe = scalarProbe<Model, Owner, std::wstring>(key, Kind::Text, "", sample, get, set, isSet, unset);
    probe.sampleJson = [sample](int variant) { return ModelBase::toJson(sample(variant)); };
    return probe;
}

template <typename Model, typename Owner>
FieldProbe int32Probe(std::string key, int32_t (Owner::*get)() const, void (Owner::*set)(int32_t),
                      bool (Owner::*isSet)() const, void (Owner::*unset)())
{
    FieldProbe probe = scalarProbe<Model, Owner, int32_t>(key, Kind::Int32, "", &sampleInt32, get, set, isSet, unset);
    probe.sampleJson = [](int variant) { return ModelBase::toJson(sampleInt32(variant)); };
    return probe;
}

template <typename Model, typename Nested, typename Owner>
FieldProbe nestedProbe(std::string key, std::string nestedClass, std::shared_ptr<Nested> (Owner::*get)() const,
                       void (Owner::*set)(std::shared_ptr<Nested>), bool (Owner::*isSet)() const,
                       void (Owner::*unset)())
{
    auto sample = [nestedClass](int variant) {
        return std::dynamic_pointer_cast<Nested>(filled(modelCase(nestedClass), variant));
    };
    FieldProbe probe = scalarProbe<Model, Owner, std::shared_ptr<Nested>>(key, Kind::Nested, nestedClass, sample, get,
                                                                          set, isSet, unset);
    probe.sampleJson = [nestedClass](int variant) { return fullJson(modelCase(nestedClass), variant); };
    probe.sharedObject = [get](ModelBase& model) -> const void* { return (as<Model>(model).*get)().get(); };
    return probe;
}

template <typename Model, typename Owner>
FieldProbe textsProbe(std::string key, std::vector<std::wstring>& (Owner::*get)(), bool (Owner::*isSet)() const,
                      void (Owner::*unset)())
{
    auto sample = [key](int variant, int position) {
        return sampleText(key + "[" + std::to_string(position) + "]", variant);
    };
    FieldProbe probe = listProbe<Model, Owner, std::wstring>(key, Kind::Texts, "", sample, get, isSet, unset);
    probe.sampleJson = [sample](int variant) {
        return web::json::value::array({ModelBase::toJson(sample(variant, 0)), ModelBase::toJson(sample(variant, 1))});
    };
    return probe;
}

template <typename Model, typename Element, typename Owner>
FieldProbe modelsProbe(std::string key, std::string elementClass,
                       std::vector<std::shared_ptr<Element>>& (Owner::*get)(), bool (Owner::*isSet)() const,
                       void (Owner::*unset)())
{
    auto sample = [elementClass](int variant, int position) {
        return position == 0 ? std::dynamic_pointer_cast<Element>(filled(modelCase(elementClass), variant)) : nullptr;
    };
    FieldProbe probe =
        listProbe<Model, Owner, std::shared_ptr<Element>>(key, Kind::Models, elementClass, sample, get, isSet, unset);
    probe.sampleJson = [elementClass](int variant) {
        return web::json::value::array({fullJson(modelCase(elementClass), variant), web::json::value::null()});
    };
    probe.sharedObject = [get](ModelBase& model) -> const void* {
        const auto& list = (as<Model>(model).*get)();
        return list.empty() ? nullptr : list.front().get();
    };
    return probe;
}

template <typename Model>
ModelCase modelEntry(std::string name, std::shared_ptr<Model> (*create)(web::json::value&),
                     std::vector<FieldProbe> fields)
{
    static_assert(std::is_base_of_v<ModelBase, Model> && std::has_virtual_destructor_v<Model>);
    static_assert(std::is_default_constructible_v<Model> && std::is_copy_constructible_v<Model> &&
                  std::is_copy_assignable_v<Model>);
    ModelCase entry;
    entry.name = std::move(name);
    entry.make = [] { return std::make_shared<Model>(); };
    entry.create = [create](web::json::value& json) { return create(json); };
    entry.copy = [](const ModelBase& model) { return std::make_shared<Model>(as<Model>(model)); };
    entry.assign = [](ModelBase& target, const ModelBase& source) { as<Model>(target) = as<Model>(source); };
    entry.fields = std::move(fields);
    return entry;
}

} // namespace lithmar_test
