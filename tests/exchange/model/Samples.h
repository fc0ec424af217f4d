#pragma once
// Sample values for the catalogue's fields and what the models should make of
// them. Variants 1 and 2 differ in every field, so a test can tell which
// reading a field's value came from. Strings carry non-ASCII characters (one
// outside the Basic Multilingual Plane) to cover the UTF-8 conversions.

#include "ModelCatalog.h"

#include <lithmar/runtime/HttpContent.h>
#include <lithmar/runtime/MultipartFormData.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lithmar_test {

using com::vantorel::lithmar::HttpContent;
using com::vantorel::lithmar::MultipartFormData;

std::wstring sampleText(const std::string& key, int variant);
int32_t sampleInt32(int variant);

// Every field of `model` given the sample of `variant` through its accessors.
void fillAll(ModelBase& model, const ModelCase& entry, int variant);
std::shared_ptr<ModelBase> filled(const ModelCase& entry, int variant);

// The JSON object whose members are chosen per field, in table order; a
// field for which `choose` gives nothing has no member.
web::json::value objectWhere(const ModelCase& entry,
                             const std::function<std::optional<web::json::value>(std::size_t index)>& choose);
// What a model filled with `variant` writes.
web::json::value fullJson(const ModelCase& entry, int variant);
// The same without the fields that `leftOut` picks.
web::json::value fullJsonWithout(const ModelCase& entry, int variant,
                                 const std::function<bool(const FieldProbe&)>& leftOut);
// What a model filled with `variant` holds after a reading that found none
// of its keys: every field but the lists, which reading empties.
web::json::value listsEmptied(const ModelCase& entry, int variant);

std::string text(const web::json::value& json);

struct Part {
    std::wstring name;
    std::string data;
    std::wstring contentType;

    bool operator==(const Part& other) const;
};
void PrintTo(const Part& part, std::ostream* out);

// The parts that a model filled with `variant` adds, for an already formed
// prefix ("" or ending in '.').
std::vector<Part> expectedParts(const ModelCase& entry, const std::wstring& formedPrefix, int variant);
std::vector<Part> partsOf(const MultipartFormData& form);

// The form that `model` writes under `prefix`.
std::shared_ptr<MultipartFormData> writtenForm(const ModelBase& model, const std::wstring& prefix);
// A form part holding exactly `bytes`, UTF-8 or not, and a form of such parts.
std::shared_ptr<HttpContent> rawPart(const std::wstring& name, const std::string& bytes);
std::shared_ptr<MultipartFormData> formOf(const std::vector<std::pair<std::wstring, std::string>>& parts);
std::wstring wide(const std::string& ascii);

} // namespace lithmar_test
