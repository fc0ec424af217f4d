"""The public header of one model: an ordinary class with its accessors."""

from typing import List

import cpp
from schema import Field, Model

CONVENTIONS = (
    "Each field has a set flag: setX() stores a value and raises it, unsetX() lowers it and keeps the value, "
    "and only fields whose flag is up are written. fromJson() and fromMultiPart() store what they find and keep "
    "the fields that are missing. toMultipart() names parts prefix.key; fromMultiPart() looks them up by their "
    "bare keys."
)
LIST_CONVENTIONS = (
    "A list is written whenever it holds elements and is emptied before every reading; the model never raises "
    "a list's flag itself."
)

NESTED_CONVENTIONS = (
    "A nested model names its parts key.field, whatever the prefix, and is read from a form only when the form "
    "holds a part named by its key."
)


def header(model: Model) -> str:
    conventions = " ".join([CONVENTIONS]
                           + ([LIST_CONVENTIONS] if any(f.is_list for f in model.fields) else [])
                           + ([NESTED_CONVENTIONS] if any(f.kind == "nested" for f in model.fields) else []))
    name = model.name
    factory_doc = model.factory_doc or "A new model filled by fromJson from `json`."
    return f"""{cpp.GENERATED_NOTE}
#pragma once

{_includes(model)}

namespace {cpp.NAMESPACE} {{

{cpp.comment(model.doc)}
//
{cpp.comment(conventions)}
class LITHMAR_EXCHANGE_EXPORT {name} : public {cpp.base_class(model)} {{
public:
    {name}();
    {name}(const {name}& other);
    {name}& operator=(const {name}& other);
    ~{name}() override;

    // Accepts every state: the service judges the values.
    void validate() override;
    web::json::value toJson() const override;
    void fromJson(web::json::value& json) override;
    void toMultipart(std::shared_ptr<MultipartFormData> multipart, const std::wstring& namePrefix) const override;
    void fromMultiPart(std::shared_ptr<MultipartFormData> multipart, const std::wstring& namePrefix) override;

{cpp.comment(factory_doc, "    ")}
{cpp.signature(f"static std::shared_ptr<{name}>", cpp.factory(name), ["web::json::value& json"], ";", "    ")}
{"".join(_accessors(field) for field in model.fields)}
private:
    // The table of the fields below that the shared mapping walks; internal to the library.
    struct LITHMAR_EXCHANGE_NO_EXPORT Fields;
{_members(model.fields)}}};

}} // namespace {cpp.NAMESPACE}
"""


def _includes(model: Model) -> str:
    models = sorted(set(model.referenced + ([model.base] if model.base else [])))
    project = ["lithmar/exchange/lithmar_exchange_export.h"]
    project += [f"lithmar/exchange/model/{used}.h" for used in models]
    project += ["lithmar/runtime/ModelBase.h", "lithmar/runtime/MultipartFormData.h"]
    standard = ["memory", "string"]
    if any(f.kind == "int32" for f in model.fields):
        standard.insert(0, "cstdint")
    if any(f.is_list for f in model.fields):
        standard.append("vector")
    return "\n\n".join([
        "\n".join(f"#include <{path}>" for path in project),
        "#include <cpprest/json.h>",
        "\n".join(f"#include <{path}>" for path in standard),
    ])


def _accessors(field: Field) -> str:
    lines = [""]
    if field.note:
        lines.append(cpp.comment(f"{field.key}: {field.note}", "    "))
    value_type = cpp.value_type(field)
    if field.is_list:
        lines.append(f"    {value_type}& get{field.stem}();")
    else:
        lines.append(f"    {value_type} get{field.stem}() const;")
        lines.append(f"    void set{field.stem}({value_type} value);")
    lines.append(f"    bool {field.key}IsSet() const;")
    lines.append(f"    void unset{field.stem}();")
    return "\n".join(lines) + "\n"


def _members(fields: List[Field]) -> str:
    lines = []
    for field in fields:
        initial = " = 0" if field.kind == "int32" else ""
        lines.append(f"    {cpp.value_type(field)} {cpp.member(field)}{initial};")
        lines.append(f"    bool {cpp.flag(field)} = false;")
    return "\n" + "".join(f"{line}\n" for line in lines) if lines else ""
