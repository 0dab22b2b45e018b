#!/usr/bin/env python3
"""Checks the catalogue and kestrel-info's JSON for one and for several classes against the
catalogue's JSON Schema: one document shape everywhere."""
import json
import subprocess
import sys

import jsonschema

schema_path, catalogue_path, info_path = sys.argv[1:4]
with open(schema_path) as f:
    schema = json.load(f)
documents = {catalogue_path: json.load(open(catalogue_path))}
for args in (["znSpotLight"], ["kestrel_Mtl_Ward_b9aac246", "XRite"]):
    out = subprocess.run([info_path, "--json", *args], check=True, capture_output=True, text=True).stdout
    documents["kestrel-info --json " + " ".join(args)] = json.loads(out)
for name, document in documents.items():
    try:
        jsonschema.validate(document, schema)
    except jsonschema.ValidationError as error:
        sys.exit(f"{name}: {error.message} at {'/'.join(map(str, error.absolute_path))}")
