"""Checks that each line of a trace follows the schema, and that the schema refuses what is not a line of a trace."""

import copy
import json
import subprocess
import sys

import jsonschema

schema_path, sample_program = sys.argv[1:]
with open(schema_path, encoding="utf-8") as file:
    schema = json.load(file)
jsonschema.Draft7Validator.check_schema(schema)
validator = jsonschema.Draft7Validator(schema)

output = subprocess.run([sample_program], check=True, capture_output=True).stdout.decode("utf-8")
lines = [json.loads(line) for line in output.splitlines()]

problems = []
for line in lines:
    problems += [f"{line}: {error.message}" for error in validator.iter_errors(line)]
    for member in line:
        if member in ("name", "handle") and line["call"] in ("control", "open"):
            continue
        lacking = {key: value for key, value in line.items() if key != member}
        if validator.is_valid(lacking) and not ("handle" in line and member == "error"):
            problems.append(f"{line} is still valid without {member}")
    unknown = copy.deepcopy(line)
    unknown["unknown"] = 1
    if validator.is_valid(unknown):
        problems.append(f"{line} is still valid with a member that is unknown")

# Each kind of line with the member that tells it from others of its call.
kinds = {
    ("open", "handle"),
    ("open", "error"),
    ("control", "name"),
    ("read", "moved"),
    ("read", "transfer"),
    ("write", "moved"),
    ("write", "transfer"),
    ("flush", "error"),
    ("waitTransfer", "moved"),
    ("waitTransfer", "pending"),
    ("cancelTransfer", "transfer"),
    ("close", "handle"),
    ("wait", "seconds"),
}
seen = {(line["call"], member) for line in lines for member in line}
for call, member in sorted(kinds - seen):
    problems.append(f"the sample shows no {call} with {member}")
for call in sorted({line["call"] for line in lines} - {call for call, _ in kinds}):
    problems.append(f"{call} is no call that is known")

print("\n".join(problems) or f"{len(lines)} lines follow the schema")
sys.exit(1 if problems else 0)
