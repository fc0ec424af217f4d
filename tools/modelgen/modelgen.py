#!/usr/bin/env python3
"""Generates the model classes from models.json.

  modelgen.py SCHEMA --list                 print the class names, one a line
  modelgen.py SCHEMA HEADER_DIR SOURCE_DIR  write <Class>.h and <Class>.cpp

Files whose text is unchanged are left untouched, so that a schema edit only
rebuilds the classes it changes."""

import argparse
import os
import sys

from emit_header import header
from emit_source import source
from schema import SchemaError, load


def write_if_changed(path: str, text: str) -> None:
    try:
        with open(path, encoding="utf-8") as stream:
            if stream.read() == text:
                return
    except FileNotFoundError:
        pass
    with open(path, "w", encoding="utf-8") as stream:
        stream.write(text)


def main(argv) -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("schema")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("header_dir", nargs="?")
    parser.add_argument("source_dir", nargs="?")
    args = parser.parse_args(argv)
    try:
        models = load(args.schema)
    except (OSError, ValueError, SchemaError) as error:
        print(f"modelgen: {error}", file=sys.stderr)
        return 1
    if args.list:
        print("\n".join(model.name for model in models))
        return 0
    if not args.header_dir or not args.source_dir:
        parser.error("name the header and source folders, or ask for --list")
    os.makedirs(args.header_dir, exist_ok=True)
    os.makedirs(args.source_dir, exist_ok=True)
    for model in models:
        write_if_changed(os.path.join(args.header_dir, f"{model.name}.h"), header(model))
        write_if_changed(os.path.join(args.source_dir, f"{model.name}.cpp"), source(model))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
