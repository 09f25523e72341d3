#!/usr/bin/env python3
"""Checks the schema of described PCs: itself, against the PCs of a folder, and against descriptions that are wrong.
Checks too that the guide to it names every member and that the whole PCs in it are valid.

usage: check_schema.py SCHEMA MACHINES_FOLDER BAD_DESCRIPTIONS GUIDE
"""

import copy
import json
import pathlib
import re
import sys

import jsonschema


def patched(document, patch):
    """The document after a JSON patch of "add" and "remove" operations."""
    document = copy.deepcopy(document)
    for step in patch:
        if step["path"] == "":
            document = step["value"]
            continue
        names = [name.replace("~1", "/").replace("~0", "~") for name in step["path"].split("/")[1:]]
        target = document
        for name in names[:-1]:
            target = target[int(name)] if isinstance(target, list) else target[name]
        key = int(names[-1]) if isinstance(target, list) else names[-1]
        if step["op"] == "remove":
            del target[key]
        elif isinstance(target, list):
            target.insert(key, step["value"])
        else:
            target[key] = step["value"]
    return document


def member_names(schema):
    """Every member that the schema knows, of any object."""
    names = set(schema.get("properties", {})) if isinstance(schema, dict) else set()
    for part in schema.values() if isinstance(schema, dict) else schema if isinstance(schema, list) else []:
        names |= member_names(part)
    return names


def main(schema_path, machines_folder, bad_path, guide_path):
    schema = json.loads(pathlib.Path(schema_path).read_text(encoding="utf-8"))
    jsonschema.Draft7Validator.check_schema(schema)
    validator = jsonschema.Draft7Validator(schema)
    complaints = []

    machines = sorted(pathlib.Path(machines_folder).glob("*.json"))
    if not machines:
        complaints.append(f"no described PC in {machines_folder}")
    for path in machines:
        for error in validator.iter_errors(json.loads(path.read_text(encoding="utf-8"))):
            complaints.append(f"{path.name}: {error.json_path}: {error.message}")

    bad = json.loads(pathlib.Path(bad_path).read_text(encoding="utf-8"))
    if not validator.is_valid(bad["base"]):
        complaints.append("the base of the wrong descriptions is wrong itself")
    for row in bad["rows"]:
        refused = not validator.is_valid(patched(bad["base"], row["patch"]))
        if refused != row["schema"]:
            complaints.append(f"{row['name']}: the schema {'refuses' if refused else 'accepts'} it")

    guide = pathlib.Path(guide_path).read_text(encoding="utf-8")
    for name in sorted(member_names(schema)):
        if f"`{name}`" not in guide and f'"{name}"' not in guide:
            complaints.append(f"{name}: the guide does not say what it means")
    examples = [block for block in re.findall(r"```json\n(.*?)```", guide, re.DOTALL) if block.startswith("{")]
    if not examples:
        complaints.append("the guide shows no whole PC")
    for example in examples:
        for error in validator.iter_errors(json.loads(example)):
            complaints.append(f"the guide's example: {error.json_path}: {error.message}")

    for complaint in complaints:
        print(complaint)
    print(f"{len(machines)} PCs, {len(bad['rows'])} wrong descriptions, {len(complaints)} complaints")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
