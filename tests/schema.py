#!/usr/bin/env python3
"""Validates what pellsub writes as JSON against docs/pellsub.schema.json.

schema.py SCHEMA SAMPLES PELLSUB...; skips (77) without python3-jsonschema.
"""
import json
import pathlib
import subprocess
import sys
import tempfile

try:
    from jsonschema import Draft202012Validator as Validator
except ImportError:
    print("python3-jsonschema is missing")
    sys.exit(77)

schema = json.loads(pathlib.Path(sys.argv[1]).read_text())
samples, pellsub = sys.argv[2], sys.argv[3:]
missing = "no-such-file.srt"
Validator.check_schema(schema)


def output(*arguments):
    """What the tool writes; a file of these is missing, so that errors are seen too."""
    return subprocess.run([*pellsub, *arguments], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout


def validate(name, document):
    """Against one definition, not all of them, so that a document cannot pass as another."""
    Validator({"$ref": f"#/$defs/{name}", "$defs": schema["$defs"]}).validate(document)
    Validator(schema).validate(document)


counts = {}
for command in ("info", "dump", "check"):
    files = json.loads(output(command, "--as", "json", "-r", samples, missing))
    validate(command, files)
    counts[command] = len(files["files"])

lines = output("dump", "--as", "jsonl", "-r", samples, missing).splitlines()
for line in lines:
    validate("dump_line", json.loads(line))
counts["dump_line"] = len(lines)

with tempfile.TemporaryDirectory() as directory:
    output("convert", "--to", "json", "--dir", directory, "-r", samples)
    converted = list(pathlib.Path(directory).iterdir())
    for file in converted:
        validate("convert", json.loads(file.read_text()))
    counts["convert"] = len(converted)

# A member that nobody knows, or one that is gone, must be noticed.
files["files"][0]["surprise"] = 1
assert not Validator(schema).is_valid(files)
assert min(counts.values()) > 10, counts
print(counts)
