"""Tests of the schema checks and of the generated text (run by CTest)."""

import json
import os
import tempfile
import unittest

from emit_header import header
from emit_source import source
from modelgen import write_if_changed
from schema import SchemaError, load


def model(name, fields, **extra):
    return dict(name=name, doc=f"{name} for tests.", fields=fields, **extra)


def load_models(test: unittest.TestCase, *models):
    """The models of a schema file holding `models`."""
    with tempfile.NamedTemporaryFile("w", suffix=".json", delete=False) as stream:
        json.dump({"models": list(models)}, stream)
    test.addCleanup(os.remove, stream.name)
    return load(stream.name)


class SchemaTest(unittest.TestCase):
    def assertRefused(self, message, *models):
        with self.assertRaisesRegex(SchemaError, message):
            load_models(self, *models)

    def test_reads_every_kind_of_field_in_order(self):
        models = load_models(self, model("Leaf", [["id", "string"]]),
                             model("Root", [["count", "int32"], ["leaf", "Leaf"], ["ids", "string[]"],
                                            ["leaves", "Leaf[]", "a note"]]))
        root = models[1]
        self.assertEqual([(f.key, f.kind, f.model) for f in root.fields],
                         [("count", "int32", None), ("leaf", "nested", "Leaf"), ("ids", "strings", None),
                          ("leaves", "models", "Leaf")])
        self.assertEqual(root.fields[3].note, "a note")

    def test_refuses_bad_schemas(self):
        cases = [
            ("refers to int64, which is not a model", [model("A", [["x", "int64"]])]),
            ("unknown type 'int32\\[\\]'", [model("A", [["x", "int32[]"]])]),
            ("unknown type 'string\\[\\]\\[\\]'", [model("A", [["x", "string[][]"]])]),
            ("ASCII identifier", [model("A", [["gr\u00f6\u00dfe", "string"]])]),
            ("ASCII identifier", [model("A", [["two words", "string"]])]),
            ("refers to B, which is not a model", [model("A", [["b", "B"]])]),
            ("refers to B, which is not a model", [model("A", [], base="B")]),
            ("stand twice", [model("A", [["id", "string"], ["id", "int32"]])]),
            ("inherited keys count", [model("A", [["id", "string"]]), model("B", [["id", "string"]], base="A")]),
            ("defined twice", [model("A", []), model("A", [])]),
            ("unknown properties", [model("A", [], feilds=[])]),
            ("needs a \"doc\"", [dict(name="A", fields=[])]),
            ("include each other", [model("A", [["b", "B"]]), model("B", [["a", "A[]"]])]),
            ("base classes form a cycle", [model("A", [], base="B"), model("B", [], base="A")]),
            ("\\[key, type\\]", [model("A", [["id"]])]),
        ]
        for message, models in cases:
            with self.subTest(message):
                self.assertRefused(message, *models)


class EmitTest(unittest.TestCase):
    def test_header_declares_the_accessors_of_each_kind(self):
        [_, root] = load_models(self, model("Leaf", []),
                                model("Root", [["siteId", "string"], ["leaves", "Leaf[]"]], base="Leaf"))
        text = header(root)
        self.assertIn("class LITHMAR_EXCHANGE_EXPORT Root : public Leaf {", text)
        for declaration in ["std::wstring getSiteId() const;", "void setSiteId(std::wstring value);",
                            "bool siteIdIsSet() const;", "void unsetSiteId();",
                            "std::vector<std::shared_ptr<Leaf>>& getLeaves();", "bool leavesIsSet() const;",
                            "static std::shared_ptr<Root> createRoot(web::json::value& json);"]:
            self.assertIn(declaration, text)
        self.assertNotIn("void setLeaves", text)
        self.assertLess(text.index("m_siteId;"), text.index("m_leaves;"))

    def test_source_lists_the_fields_in_order_after_the_base(self):
        [leaf, root] = load_models(self, model("Leaf", [], factoryDefinedIn="Leaf.cpp"),
                                   model("Root", [["b", "string"], ["a", "Leaf[]"]], base="Leaf"))
        text = source(root)
        self.assertIn("detail::fieldTable<Model, Leaf>(\n"
                      "        detail::text(\"b\", &Model::m_b, &Model::m_bIsSet),\n"
                      "        detail::models<&Leaf::createLeaf>(\"a\", &Model::m_a));", text)
        self.assertNotIn("Leaf::createLeaf(web::json::value& json)\n{", source(leaf))

    def test_unchanged_text_leaves_the_file_alone(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "A.h")
            write_if_changed(path, "text")
            os.utime(path, (0, 0))
            write_if_changed(path, "text")
            self.assertEqual(os.stat(path).st_mtime, 0)
            write_if_changed(path, "other")
            self.assertNotEqual(os.stat(path).st_mtime, 0)


if __name__ == "__main__":
    unittest.main()
