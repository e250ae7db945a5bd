#!/usr/bin/env python3
"""validate_json.py SCHEMA: tells of each line of standard input whether the JSON
Schema accepts it: "accepted", or "refused: " and why.

The schema and those that it refers to must be right, and every object in them must
be closed: a schema that lets unknown members pass would prove nothing. Otherwise it
complains and exits with status 2.
"""
import json
import pathlib
import sys
import warnings

try:
    import jsonschema
except ImportError:
    sys.exit("validate_json.py needs the Debian package python3-jsonschema")


def open_objects(schema, path):
    """Places of the objects whose members are listed, but which let others pass."""
    if isinstance(schema, list):
        for index, part in enumerate(schema):
            yield from open_objects(part, f"{path}/{index}")
    elif isinstance(schema, dict):
        if isinstance(schema.get("properties"), dict) and schema.get("additionalProperties") is not False:
            yield path
        for name, part in schema.items():
            yield from open_objects(part, f"{path}/{name}")


def files_referred_to(schema):
    """The names of the files that a schema refers to."""
    if isinstance(schema, list):
        for part in schema:
            yield from files_referred_to(part)
    elif isinstance(schema, dict):
        name = str(schema.get("$ref", "")).partition("#")[0]
        if name:
            yield name
        for part in schema.values():
            yield from files_referred_to(part)


def complain(what):
    print(what, file=sys.stderr)
    sys.exit(2)


def main():
    path = pathlib.Path(sys.argv[1]).resolve()
    schemas = {}
    waiting = [path]
    while waiting:
        file = waiting.pop()
        if file in schemas:
            continue
        schemas[file] = json.loads(file.read_text())
        jsonschema.Draft202012Validator.check_schema(schemas[file])
        for place in open_objects(schemas[file], file.name):
            complain(f"{place}: additionalProperties is not false")
        waiting += [file.parent / name for name in files_referred_to(schemas[file])]
    schema = schemas[path]
    # Newer versions have another way to find schemas; this one works in all.
    warnings.simplefilter("ignore", DeprecationWarning)
    validator = jsonschema.Draft202012Validator(schema, resolver=jsonschema.RefResolver(path.as_uri(), schema))
    for line in sys.stdin:
        error = next(validator.iter_errors(json.loads(line)), None)
        print("accepted" if error is None else f"refused: {error.json_path}: {error.message[:200]}")


main()
