"""The source of one model: its field table and the thin members that hand
every mapping to the shared engine (lithmar/exchange/model/detail)."""

import cpp
from schema import Field, Model

TABLE_ENTRIES = {
    "string": "detail::text",
    "int32": "detail::int32",
    "nested": "detail::nested",
    "strings": "detail::texts",
}
MULTIPART_PARAMETERS = ["std::shared_ptr<MultipartFormData> multipart", "const std::wstring& namePrefix"]


def source(model: Model) -> str:
    name = model.name
    return f"""{cpp.GENERATED_NOTE}
#include <lithmar/exchange/model/{name}.h>

#include <lithmar/exchange/model/detail/FieldTable.h>

namespace {cpp.NAMESPACE} {{

struct {name}::Fields {{
    using Model = {name};
    static constexpr auto table = {_table(model)};
}};

{name}::{name}() = default;
{name}::{name}(const {name}&) = default;
{cpp.signature(f"{name}&", f"{name}::operator=", [f"const {name}&"], " = default;")}
{name}::~{name}() = default;

void {name}::validate() {{}}

web::json::value {name}::toJson() const
{{
    return Fields::table.toJson(*this);
}}

void {name}::fromJson(web::json::value& json)
{{
    Fields::table.fromJson(*this, json);
}}

{cpp.signature("void", f"{name}::toMultipart", MULTIPART_PARAMETERS, " const")}
{{
    Fields::table.toMultipart(*this, multipart, namePrefix);
}}

{cpp.signature("void", f"{name}::fromMultiPart", MULTIPART_PARAMETERS)}
{{
    Fields::table.fromMultiPart(*this, multipart, namePrefix);
}}
{_factory(model)}{"".join(_accessors(name, field) for field in model.fields)}
}} // namespace {cpp.NAMESPACE}
"""


def _table(model: Model) -> str:
    head = f"detail::fieldTable<Model, {cpp.base_class(model)}>("
    if not model.fields:
        return head + ")"
    last = len(model.fields) - 1
    return head + "\n" + "\n".join(_entry(field, ")" if index == last else ",")
                                   for index, field in enumerate(model.fields))


def _entry(field: Field, tail: str) -> str:
    if field.kind == "models":
        function = f"detail::models<&{field.model}::{cpp.factory(field.model)}>"
    else:
        function = TABLE_ENTRIES[field.kind]
    arguments = [f'"{field.key}"', f"&Model::{cpp.member(field)}"]
    if not field.is_list:
        arguments.append(f"&Model::{cpp.flag(field)}")
    return cpp.signature("", function, arguments, tail, " " * 8)


def _factory(model: Model) -> str:
    if model.factory_defined_in:
        return ""
    name = model.name
    return f"""
{cpp.signature(f"std::shared_ptr<{name}>", f"{name}::{cpp.factory(name)}", ["web::json::value& json"])}
{{
    return detail::created<{name}>(json);
}}
"""


def _accessors(owner: str, field: Field) -> str:
    value_type = cpp.value_type(field)
    stem, value, flag = field.stem, cpp.member(field), cpp.flag(field)
    if field.is_list:
        access = f"""
{value_type}& {owner}::get{stem}()
{{
    return {value};
}}
"""
    else:
        stored = "value" if field.kind == "int32" else "std::move(value)"
        access = f"""
{value_type} {owner}::get{stem}() const
{{
    return {value};
}}

void {owner}::set{stem}({value_type} value)
{{
    {value} = {stored};
    {flag} = true;
}}
"""
    return access + f"""
bool {owner}::{field.key}IsSet() const
{{
    return {flag};
}}

void {owner}::unset{stem}()
{{
    {flag} = false;
}}
"""
