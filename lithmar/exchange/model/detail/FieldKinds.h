#pragma once
// The four kinds of model field and how each one maps to JSON and to form
// parts. A model lists its fields once, in a FieldTable (FieldTable.h), built
// from the functions at the end of this file; everything a field does on the
// wire is decided here.

#include <lithmar/exchange/model/detail/WireFormat.h>
#include <lithmar/runtime/ModelBase.h>
#include <lithmar/runtime/MultipartFormData.h>

#include <cpprest/json.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace com::vantorel::lithmar::exploration::model::detail {

// The members of a JSON object under construction, in the order they will be
// written: a model's JSON keeps its fields' order.
using JsonMembers = std::vector<std::pair<utility::string_t, web::json::value>>;

template <typename Value>
struct ScalarConversions;

template <>
struct ScalarConversions<std::wstring> {
    static constexpr auto fromJson = &ModelBase::stringFromJson;
    static constexpr auto fromHttpContent = &ModelBase::stringFromHttpContent;
};

template <>
struct ScalarConversions<int32_t> {
    static constexpr auto fromJson = &ModelBase::int32_tFromJson;
    static constexpr auto fromHttpContent = &ModelBase::int32_tFromHttpContent;
};

// What strings, integers and nested models share: the set flag decides
// whether the field is written, and reading stores a value the way the
// field's setter does, value and then flag.
template <typename Model, typename Value>
struct FlaggedField {
    std::string_view key;
    Value Model::*value;
    bool Model::*isSet;

    void writeJson(const Model& model, JsonMembers& json) const
    {
        if (model.*isSet) {
            json.emplace_back(key, ModelBase::toJson(model.*value));
        }
    }

    void store(Model& model, Value stored) const
    {
        model.*value = std::move(stored);
        model.*isSet = true;
    }
};

// A string or a 32-bit integer. Read whenever the key is there, whatever it
// holds: the conversion decides what a JSON null means.
template <typename Model, typename Value>
struct ScalarField : FlaggedField<Model, Value> {
    void readJson(Model& model, web::json::value* json) const
    {
        if (json) {
            this->store(model, ScalarConversions<Value>::fromJson(*json));
        }
    }

    void writeParts(const Model& model, const std::shared_ptr<MultipartFormData>& form,
                    const std::wstring& prefix) const
    {
        if (model.*(this->isSet)) {
            form->add(ModelBase::toHttpContent(prefix + partName(this->key), model.*(this->value), L""));
        }
    }

    void readParts(Model& model, const std::shared_ptr<MultipartFormData>& form) const
    {
        const std::wstring name = partName(this->key);
        if (form->hasContent(name)) {
            this->store(model, ScalarConversions<Value>::fromHttpContent(form->getContent(name)));
        }
    }
};

// A model inside a model. A JSON null reads as "nothing sent" and leaves the
// field alone. In a form, a nested model's parts are named from its own key
// ("tree.id"), never from the outer prefix, and it is read back only when the
// form holds a part named by the key itself.
template <typename Model, typename Nested>
struct NestedField : FlaggedField<Model, std::shared_ptr<Nested>> {
    void readJson(Model& model, web::json::value* json) const
    {
        if (json && !json->is_null()) {
            auto nested = std::make_shared<Nested>();
            nested->fromJson(*json);
            this->store(model, std::move(nested));
        }
    }

    void writeParts(const Model& model, const std::shared_ptr<MultipartFormData>& form, const std::wstring&) const
    {
        const auto& nested = model.*(this->value);
        if (model.*(this->isSet) && nested) {
            nested->toMultipart(form, partName(this->key) + L'.');
        }
    }

    void readParts(Model& model, const std::shared_ptr<MultipartFormData>& form) const
    {
        const std::wstring name = partName(this->key);
        if (form->hasContent(name)) {
            auto nested = std::make_shared<Nested>();
            nested->fromMultiPart(form, name + L'.');
            this->store(model, std::move(nested));
        }
    }
};

// A list of strings or of models. Its length alone decides whether it is
// written; its set flag belongs to the caller, so the mapping neither reads
// nor raises it. Reading always starts from an empty list, so a list whose
// key is missing comes back empty.
template <typename Model, typename Element>
struct ListField {
    std::string_view key;
    std::vector<Element> Model::*value;
    Element (*readElement)(web::json::value&);

    void writeJson(const Model& model, JsonMembers& json) const
    {
        if (!(model.*value).empty()) {
            json.emplace_back(key, toJsonArray(model.*value));
        }
    }

    void readJson(Model& model, web::json::value* json) const
    {
        (model.*value).clear();
        if (json) {
            append(model.*value, *json);
        }
    }

    void writeParts(const Model& model, const std::shared_ptr<MultipartFormData>& form,
                    const std::wstring& prefix) const
    {
        if (!(model.*value).empty()) {
            form->add(ModelBase::toHttpContent(prefix + partName(key), toJsonArray(model.*value), L"application/json"));
        }
    }

    void readParts(Model& model, const std::shared_ptr<MultipartFormData>& form) const
    {
        (model.*value).clear();
        const std::wstring name = partName(key);
        if (form->hasContent(name)) {
            web::json::value json = jsonInPart(form->getContent(name));
            append(model.*value, json);
        }
    }

private:
    static web::json::value toJsonArray(const std::vector<Element>& list)
    {
        std::vector<web::json::value> elements;
        elements.reserve(list.size());
        for (const Element& element : list) {
            elements.push_back(ModelBase::toJson(element));
        }
        return web::json::value::array(std::move(elements));
    }

    void append(std::vector<Element>& list, web::json::value& json) const
    {
        web::json::array& elements = arrayUnder(key, json);
        list.reserve(list.size() + elements.size());
        for (web::json::value& element : elements) {
            list.push_back(readElement(element));
        }
    }
};

// A list element that is a model: null stays a null pointer, anything else is
// made by the element class's factory (which for most classes is a fresh
// model filled by fromJson, and for TopLevelChild picks the subclass).
template <auto create>
auto modelElement(web::json::value& json) -> decltype(create(json))
{
    return json.is_null() ? nullptr : create(json);
}

// The field table entries, one function per kind of field.

template <typename Model>
constexpr ScalarField<Model, std::wstring> text(std::string_view key, std::wstring Model::*value,
                                                bool Model::*isSet)
{
    return {{key, value, isSet}};
}

template <typename Model>
constexpr ScalarField<Model, int32_t> int32(std::string_view key, int32_t Model::*value, bool Model::*isSet)
{
    return {{key, value, isSet}};
}

template <typename Model, typename Nested>
constexpr NestedField<Model, Nested> nested(std::string_view key, std::shared_ptr<Nested> Model::*value,
                                            bool Model::*isSet)
{
    return {{key, value, isSet}};
}

template <typename Model>
constexpr ListField<Model, std::wstring> texts(std::string_view key, std::vector<std::wstring> Model::*value)
{
    return {key, value, &ModelBase::stringFromJson};
}

// `create` is the element class's factory, e.g. &CRS::createCRS.
template <auto create, typename Model, typename Element>
constexpr ListField<Model, std::shared_ptr<Element>> models(std::string_view key,
                                                            std::vector<std::shared_ptr<Element>> Model::*value)
{
    return {key, value, &modelElement<create>};
}

} // namespace com::vantorel::lithmar::exploration::model::detail
