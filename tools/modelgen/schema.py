"""Reads models.json into Model and Field objects and refuses a schema that
would generate classes the mapping cannot serve (see SchemaError messages)."""

import json
import re
from dataclasses import dataclass, field as dataclass_field
from typing import List, Optional

IDENTIFIER = re.compile(r"[A-Za-z_][A-Za-z0-9_]*\Z")
SCALAR_TYPES = {"string", "int32"}
MODEL_KEYS = {"name", "doc", "base", "fields", "factoryDefinedIn", "factoryDoc"}


class SchemaError(Exception):
    pass


@dataclass
class Field:
    key: str
    kind: str  # "string", "int32", "nested", "strings" or "models"
    model: Optional[str] = None  # the class of a nested model or of list elements
    note: str = ""

    @property
    def stem(self) -> str:
        """The accessor stem: the key with its first letter raised."""
        return self.key[0].upper() + self.key[1:]

    @property
    def is_list(self) -> bool:
        return self.kind in ("strings", "models")


@dataclass
class Model:
    name: str
    doc: str
    fields: List[Field]
    base: Optional[str] = None
    factory_defined_in: Optional[str] = None
    factory_doc: str = ""
    referenced: List[str] = dataclass_field(default_factory=list)  # classes its fields hold


def load(path: str) -> List[Model]:
    with open(path, encoding="utf-8") as stream:
        document = json.load(stream)
    entries = document.get("models") if isinstance(document, dict) else None
    if not isinstance(entries, list):
        raise SchemaError(f"{path}: expected an object with a \"models\" list")
    models = [_model(entry, index) for index, entry in enumerate(entries)]
    _check_references(models)
    return models


def _model(entry, index: int) -> Model:
    if not isinstance(entry, dict) or not isinstance(entry.get("name"), str):
        raise SchemaError(f"model #{index}: expected an object with a \"name\"")
    name = entry["name"]
    if not IDENTIFIER.match(name):
        raise SchemaError(f"{name}: a class name must be a C++ identifier")
    unknown = set(entry) - MODEL_KEYS
    if unknown:
        raise SchemaError(f"{name}: unknown properties {sorted(unknown)}")
    if not isinstance(entry.get("doc"), str) or not entry["doc"]:
        raise SchemaError(f"{name}: needs a \"doc\" saying what the model is")
    raw_fields = entry.get("fields")
    if not isinstance(raw_fields, list):
        raise SchemaError(f"{name}: \"fields\" must be a list")
    fields = [_field(name, raw) for raw in raw_fields]
    return Model(name=name, doc=entry["doc"], fields=fields, base=entry.get("base"),
                 factory_defined_in=entry.get("factoryDefinedIn"), factory_doc=entry.get("factoryDoc", ""),
                 referenced=[f.model for f in fields if f.model])


def _field(model: str, raw) -> Field:
    if (not isinstance(raw, list) or len(raw) not in (2, 3) or not all(isinstance(part, str) for part in raw)):
        raise SchemaError(f"{model}: a field is [key, type] or [key, type, note], not {raw!r}")
    key, type_name = raw[0], raw[1]
    note = raw[2] if len(raw) == 3 else ""
    # Keys become C++ names and form part names; part names are made by
    # widening each byte, which only ASCII survives.
    if not IDENTIFIER.match(key):
        raise SchemaError(f"{model}.{key}: a key must be an ASCII identifier")
    if type_name in SCALAR_TYPES:
        return Field(key, type_name, note=note)
    if type_name == "string[]":
        return Field(key, "strings", note=note)
    element = type_name[:-2] if type_name.endswith("[]") else None
    if element is not None and IDENTIFIER.match(element) and element not in SCALAR_TYPES:
        return Field(key, "models", element, note)
    if element is None and IDENTIFIER.match(type_name):
        return Field(key, "nested", type_name, note)
    raise SchemaError(f"{model}.{key}: unknown type {type_name!r}")


def _check_references(models: List[Model]) -> None:
    by_name = {}
    for model in models:
        if model.name in by_name:
            raise SchemaError(f"{model.name}: defined twice")
        by_name[model.name] = model
    for model in models:
        for name in model.referenced + ([model.base] if model.base else []):
            if name not in by_name:
                raise SchemaError(f"{model.name}: refers to {name}, which is not a model")
        keys = [f.key for f in _fields_with_inherited(model, by_name)]
        duplicates = sorted({key for key in keys if keys.count(key) > 1})
        if duplicates:
            raise SchemaError(f"{model.name}: key(s) {duplicates} stand twice (inherited keys count)")
    _check_no_cycle(models, by_name)


def _fields_with_inherited(model: Model, by_name) -> List[Field]:
    chain, current = [], model
    while current is not None:
        if current.name in [m.name for m in chain]:
            raise SchemaError(f"{model.name}: its base classes form a cycle")
        chain.append(current)
        current = by_name.get(current.base) if current.base else None
    return [f for m in reversed(chain) for f in m.fields]


def _check_no_cycle(models: List[Model], by_name) -> None:
    """Each header includes the headers of the classes it holds or extends, so
    those must not lead back to it."""
    state = {}

    def visit(name: str, path: List[str]) -> None:
        if state.get(name) == "done":
            return
        if state.get(name) == "open":
            raise SchemaError("models include each other: " + " -> ".join(path + [name]))
        state[name] = "open"
        model = by_name[name]
        for used in model.referenced + ([model.base] if model.base else []):
            visit(used, path + [name])
        state[name] = "done"

    for model in models:
        visit(model.name, [])
