#include "Samples.h"

#include <lithmar/runtime/Utf8.h>

#include <iterator>
#include <limits>
#include <sstream>

namespace lithmar_test {

using com::vantorel::lithmar::toUtf8;

std::wstring sampleText(const std::string& key, int variant)
{
    return wide(key) + L" \u00fc\u20ac\U0001D11E #" + std::to_wstring(variant);
}

int32_t sampleInt32(int variant)
{
    // The ends of the range, which the text form of a part must carry too.
    return variant == 1 ? std::numeric_limits<int32_t>::max() : std::numeric_limits<int32_t>::min();
}

void fillAll(ModelBase& model, const ModelCase& entry, int variant)
{
    for (const FieldProbe& field : entry.fields) {
        field.fill(model, variant);
    }
}

std::shared_ptr<ModelBase> filled(const ModelCase& entry, int variant)
{
    auto model = entry.make();
    fillAll(*model, entry, variant);
    return model;
}

web::json::value objectWhere(const ModelCase& entry,
                             const std::function<std::optional<web::json::value>(std::size_t index)>& choose)
{
    web::json::value object = web::json::value::object(true);
    for (std::size_t index = 0; index < entry.fields.size(); ++index) {
        if (auto member = choose(index)) {
            object[entry.fields[index].key] = *member;
        }
    }
    return object;
}

web::json::value fullJson(const ModelCase& entry, int variant)
{
    return objectWhere(entry, [&](std::size_t index) { return entry.fields[index].sampleJson(variant); });
}

web::json::value fullJsonWithout(const ModelCase& entry, int variant,
                                 const std::function<bool(const FieldProbe&)>& leftOut)
{
    return objectWhere(entry, [&](std::size_t index) -> std::optional<web::json::value> {
        const FieldProbe& field = entry.fields[index];
        return leftOut(field) ? std::nullopt : std::optional<web::json::value>(field.sampleJson(variant));
    });
}

web::json::value listsEmptied(const ModelCase& entry, int variant)
{
    return fullJsonWithout(entry, variant, [](const FieldProbe& field) { return field.isList(); });
}

std::string text(const web::json::value& json)
{
    return json.serialize();
}

bool Part::operator==(const Part& other) const
{
    return name == other.name && data == other.data && contentType == other.contentType;
}

void PrintTo(const Part& part, std::ostream* out)
{
    *out << toUtf8(part.name) << " [" << toUtf8(part.contentType) << "] " << part.data;
}

std::vector<Part> expectedParts(const ModelCase& entry, const std::wstring& formedPrefix, int variant)
{
    std::vector<Part> parts;
    for (const FieldProbe& field : entry.fields) {
        const std::wstring name = formedPrefix + wide(field.key);
        const web::json::value sample = field.sampleJson(variant);
        switch (field.kind) {
        case Kind::Text: parts.push_back({name, sample.as_string(), L""}); break;
        case Kind::Int32: parts.push_back({name, std::to_string(sample.as_integer()), L""}); break;
        case Kind::Texts:
        case Kind::Models: parts.push_back({name, sample.serialize(), L"application/json"}); break;
        case Kind::Nested: {
            // Named from the nested model's own key, whatever the outer prefix.
            const auto nested = expectedParts(modelCase(field.heldClass), wide(field.key) + L".", variant);
            parts.insert(parts.end(), nested.begin(), nested.end());
            break;
        }
        }
    }
    return parts;
}

std::vector<Part> partsOf(const MultipartFormData& form)
{
    std::vector<Part> parts;
    for (const auto& part : form.parts()) {
        part->beginDataRead();
        const auto data = part->getData();
        std::string bytes(std::istreambuf_iterator<char>(*data), std::istreambuf_iterator<char>{});
        parts.push_back({part->getName(), std::move(bytes), part->getContentType()});
    }
    return parts;
}

std::shared_ptr<MultipartFormData> writtenForm(const ModelBase& model, const std::wstring& prefix)
{
    auto form = std::make_shared<MultipartFormData>();
    model.toMultipart(form, prefix);
    return form;
}

std::shared_ptr<HttpContent> rawPart(const std::wstring& name, const std::string& bytes)
{
    auto part = std::make_shared<HttpContent>();
    part->setName(name);
    part->setData(std::make_shared<std::istringstream>(bytes));
    return part;
}

std::shared_ptr<MultipartFormData> formOf(const std::vector<std::pair<std::wstring, std::string>>& parts)
{
    auto form = std::make_shared<MultipartFormData>();
    for (const auto& [name, bytes] : parts) {
        form->add(rawPart(name, bytes));
    }
    return form;
}

std::wstring wide(const std::string& ascii)
{
    return std::wstring(ascii.begin(), ascii.end());
}

} // namespace lithmar_test
