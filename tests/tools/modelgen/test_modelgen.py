"""Tests of the model generator's schema checks and of the text it emits (run by CTest with tools/modelgen on
PYTHONPATH)."""

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


def load_models(test, *models):
    with tempfile.NamedTemporaryFile("w", suffix=".json", delete=False) as stream:
        json.dump({"models": list(models)}, stream)
    test.addCleanup(os.remove, stream.name)
    return load(stream.name)


class ModelgenTest(unittest.TestCase):
    def test_refuses_schemas_the_mapping_cannot_serve(self):
        cases = [
            ("refers to int64, which is not a model", [model("A", [["x", "int64"]])]),
            ("unknown type 'int32\\[\\]'", [model("A", [["x", "int32[]"]])]),
            ("unknown type 'string\\[\\]\\[\\]'", [model("A", [["x", "string[][]"]])]),
            ("ASCII identifier", [model("A", [["gr\u00f6\u00dfe", "string"]])]),
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
            with self.subTest(message), self.assertRaisesRegex(SchemaError, message):
                load_models(self, *models)

    def test_emits_each_kind_of_field_in_schema_order_after_the_base(self):
        [leaf, root] = load_models(self, model("Leaf", [], factoryDefinedIn="Leaf.cpp"),
                                   model("Root", [["b", "string"], ["n", "int32"], ["t", "Leaf"], ["ids", "string[]"],
                                                  ["a", "Leaf[]"]], base="Leaf"))
        self.assertIn("detail::fieldTable<Model, Leaf>(\n"
                      "        detail::text(\"b\", &Model::m_b, &Model::m_bIsSet),\n"
                      "        detail::int32(\"n\", &Model::m_n, &Model::m_nIsSet),\n"
                      "        detail::nested(\"t\", &Model::m_t, &Model::m_tIsSet),\n"
                      "        detail::texts(\"ids\", &Model::m_ids),\n"
                      "        detail::models<&Leaf::createLeaf>(\"a\", &Model::m_a));", source(root))
        self.assertNotIn("Leaf::createLeaf(web::json::value& json)\n{", source(leaf))
        text = header(root)
        self.assertIn("class LITHMAR_EXCHANGE_EXPORT Root : public Leaf {", text)
        self.assertIn("int32_t m_n = 0;", text)
        self.assertIn("std::vector<std::shared_ptr<Leaf>>& getA();", text)
        self.assertNotIn("void setA", text)

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
