"""Checks JSON lines, and the examples of a document, against the published schema of the protocol.

check_protocol.py --schema SCHEMA [--document MARKDOWN] [--refused FILE] [FOLDER ...]

Every line of every *.jsonl file in the folders has to fit, and "seq" has to count from 1 in each file. Every example in
the document (blocks marked "jsonl", and "jsonl input" for what a host sends) has to fit. No line of the refused file
may fit: otherwise the schema is too loose to say anything.
"""

import argparse
import json
import pathlib
import re
import sys

import jsonschema

faults = []


def parsed(where, text):
    try:
        return json.loads(text)
    except ValueError as error:
        faults.append(f"{where}: not JSON: {error}")
        return None


def describe(error):
    """What is wrong with the line, as a line of its own type where it has one."""
    of_its_type = {}
    for cause in error.context:
        of_its_type.setdefault(cause.schema_path[0], []).append(cause)
    for causes in of_its_type.values():
        if not any(list(cause.path) == ["type"] for cause in causes):
            return "; ".join(f"{'/'.join(map(str, cause.path)) or 'the object'}: {cause.message}" for cause in causes)
    return error.message


def check(validator, where, text):
    value = parsed(where, text)
    for error in validator.iter_errors(value):
        faults.append(f"{where}: {describe(error)}\n    {text}")
    return value


def check_file(validator, path):
    lines = path.read_text(encoding="utf-8").splitlines()
    for number, text in enumerate(lines, 1):
        value = check(validator, f"{path}:{number}", text)
        if isinstance(value, dict) and value.get("seq") != number:
            faults.append(f"{path}:{number}: seq is {value.get('seq')} on line {number}")
    return len(lines)


def check_document(output, host_input, path):
    blocks = re.findall(r"^```jsonl( input)?\n(.*?)^```$", path.read_text(encoding="utf-8"), re.M | re.S)
    count = 0
    for is_input, block in blocks:
        for text in block.splitlines():
            check(host_input if is_input else output, str(path), text)
            count += 1
    return count


def check_refused(validator, path):
    lines = path.read_text(encoding="utf-8").splitlines()
    for number, text in enumerate(lines, 1):
        value = parsed(f"{path}:{number}", text)
        if validator.is_valid(value):
            faults.append(f"{path}:{number}: the schema accepts what it has to refuse\n    {text}")
    return len(lines)


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--schema", type=pathlib.Path, required=True)
    arguments.add_argument("--document", type=pathlib.Path)
    arguments.add_argument("--refused", type=pathlib.Path)
    arguments.add_argument("folders", type=pathlib.Path, nargs="*")
    options = arguments.parse_args()

    schema = json.loads(options.schema.read_text(encoding="utf-8"))
    jsonschema.Draft7Validator.check_schema(schema)
    output = jsonschema.Draft7Validator(schema)
    host_input = jsonschema.Draft7Validator({"$ref": "#/definitions/input", "definitions": schema["definitions"]})

    counts = {}
    for folder in options.folders:
        counts[folder] = sum(check_file(output, path) for path in sorted(folder.glob("*.jsonl")))
    if options.document:
        counts[options.document] = check_document(output, host_input, options.document)
    if options.refused:
        counts[options.refused] = check_refused(output, options.refused)
    for place, count in counts.items():
        if count == 0:
            faults.append(f"{place}: there is no line to check")

    for fault in faults:
        print(fault)
    print(f"{sum(counts.values())} lines checked, {len(faults)} faults")
    return 1 if faults or not counts else 0


if __name__ == "__main__":
    sys.exit(main())
