#!/usr/bin/env python3
"""Validates each line of standard input, a JSON object, against a schema.

    validate_json.py SCHEMA
"""
import json
import sys

import jsonschema

with open(sys.argv[1], encoding="utf-8") as file:
    schema = json.load(file)
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
lines = [line for line in sys.stdin if line.strip()]
status = 0 if lines else "no object at all"
for line in lines:
    for error in validator.iter_errors(json.loads(line)):
        status = f"{error.message}: {line}"
sys.exit(status)
