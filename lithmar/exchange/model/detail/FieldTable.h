#pragma once
// The one mapping that every model runs: a model's table lists its fields in
// order, and the four operations visit them in that order, after the fields of
// the base model when the model extends one.

#include <lithmar/exchange/model/detail/FieldKinds.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace com::vantorel::lithmar::exploration::model::detail {

// `Base` is ModelBase, or the model class whose fields come first (its own
// operations handle them, called non-virtually).
template <typename Model, typename Base, typename... Fields>
class FieldTable {
public:
    constexpr explicit FieldTable(Fields... fields) : m_fields(fields...), m_keys{fields.key...} {}

    web::json::value toJson(const Model& model) const
    {
        JsonMembers members;
        if constexpr (extendsModel) {
            // The base's members move over as they are, so its keys stay first.
            web::json::value inherited = model.Base::toJson();
            web::json::object& inheritedMembers = inherited.as_object();
            members.reserve(inheritedMembers.size() + fieldCount);
            for (auto& member : inheritedMembers) {
                members.push_back(std::move(member));
            }
        } else {
            members.reserve(fieldCount);
        }
        std::apply([&](const auto&... field) { (field.writeJson(model, members), ...); }, m_fields);
        return web::json::value::object(std::move(members), true);
    }

    // Stops at the first field whose value cannot be converted; the fields
    // before it keep what they read.
    void fromJson(Model& model, web::json::value& json) const
    {
        if constexpr (extendsModel) {
            model.Base::fromJson(json);
        }
        const auto found = membersByField(json);
        readJson(model, found, std::index_sequence_for<Fields...>{});
    }

    void toMultipart(const Model& model, const std::shared_ptr<MultipartFormData>& form,
                     const std::wstring& namePrefix) const
    {
        if constexpr (extendsModel) {
            model.Base::toMultipart(form, namePrefix);
        }
        const std::wstring prefix = partPrefix(namePrefix);
        std::apply([&](const auto&... field) { (field.writeParts(model, form, prefix), ...); }, m_fields);
    }

    // Parts are looked up by their bare keys: a form read back is the flat
    // form the service sends, whatever prefix the caller names.
    void fromMultiPart(Model& model, const std::shared_ptr<MultipartFormData>& form,
                       [[maybe_unused]] const std::wstring& namePrefix) const
    {
        if constexpr (extendsModel) {
            model.Base::fromMultiPart(form, namePrefix);
        }
        std::apply([&](const auto&... field) { (field.readParts(model, form), ...); }, m_fields);
    }

private:
    static constexpr bool extendsModel = !std::is_same_v<Base, ModelBase>;
    static constexpr std::size_t fieldCount = sizeof...(Fields);
    using Found = std::array<web::json::value*, fieldCount>;

    // One pass over the object's members, however many there are, rather
    // than a search per field. A value that is not an object has no keys. Of
    // two members with the same key the first counts, as with at().
    Found membersByField(web::json::value& json) const
    {
        Found found{};
        if constexpr (fieldCount > 0) {
            if (json.is_object()) {
                for (auto& member : json.as_object()) {
                    const std::size_t index = indexOf(member.first);
                    if (index < fieldCount && !found[index]) {
                        found[index] = &member.second;
                    }
                }
            }
        }
        return found;
    }

    std::size_t indexOf(std::string_view key) const
    {
        std::size_t index = 0;
        while (index < fieldCount && m_keys[index] != key) {
            ++index;
        }
        return index;
    }

    template <std::size_t... Index>
    void readJson(Model& model, const Found& found, std::index_sequence<Index...>) const
    {
        (std::get<Index>(m_fields).readJson(model, found[Index]), ...);
    }

    std::tuple<Fields...> m_fields;
    std::array<std::string_view, fieldCount> m_keys;
};

template <typename Model, typename Base, typename... Fields>
constexpr FieldTable<Model, Base, Fields...> fieldTable(Fields... fields)
{
    return FieldTable<Model, Base, Fields...>(fields...);
}

// What every create<Model> factory does: a fresh model filled by fromJson.
template <typename Model>
std::shared_ptr<Model> created(web::json::value& json)
{
    auto model = std::make_shared<Model>();
    model->fromJson(json);
    return model;
}

} // namespace com::vantorel::lithmar::exploration::model::detail
