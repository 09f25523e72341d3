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

seen = {line["call"] for line in lines}
if seen != {"open", "control", "close", "wait"}:
    problems.append(f"the sample shows only {sorted(seen)}")

print("\n".join(problems) or f"{len(lines)} lines follow the schema")
sys.exit(1 if problems else 0)
