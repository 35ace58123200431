#!/usr/bin/python3
"""A generator of types makes of the schemas classes under the messages' titles, which take every
example and nothing of another type.

usage: generated_types.py FOLDER    of the generator, which is fetched from PyPI once
Exit status 77: it cannot be had here; one line says why.
"""
import importlib
import json
import pathlib
import re
import subprocess
import sys

SCHEMAS = pathlib.Path(__file__).resolve().parents[2] / "docs/protocol"
SIDES = ("commands", "reports")
GENERATOR = ["datamodel-code-generator==0.89.0", "pydantic==2.14.3"]
# As docs/protocol tells people to call it.
OPTIONS = "--input-file-type jsonschema --use-title-as-name --enum-field-as-literal all"
OPTIONS += " --output-model-type pydantic_v2.BaseModel"
UNAVAILABLE = 77


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=250)


def fetch(folder):
    try:
        run("/usr/bin/python3", "-m", "venv", folder)
        run(folder / "bin/pip", "install", "-q", *GENERATOR)
    except (subprocess.SubprocessError, OSError) as error:
        said = (getattr(error, "stderr", "") or str(error)).strip().splitlines()[-1]
        print(f"skipped: {' and '.join(GENERATOR)} cannot be had from PyPI: {said}")
        sys.exit(UNAVAILABLE)
    (folder / "complete").touch()


def takes(model, message):
    try:
        model.model_validate(message)
    except ValueError:
        return False
    return True


def check(folder):
    sys.path.insert(0, str(folder))
    for side in SIDES:
        models = importlib.import_module(side)
        definitions = json.loads((SCHEMAS / f"{side}.schema.json").read_text())["$defs"]
        for definition in (value for key, value in definitions.items() if key.isdigit()):
            words = re.findall(r"\w+", definition["title"])
            model = getattr(models, "".join(word[0].upper() + word[1:] for word in words))
            for example in definition["examples"]:
                assert takes(model, example), (model, example)
                assert not takes(model, example | {"type": 999}), model


def main():
    folder = pathlib.Path(sys.argv[1])
    if pathlib.Path(sys.prefix) == folder.resolve():
        return check(folder)
    if not (folder / "complete").exists():
        fetch(folder)
    for side in SIDES:
        files = ("--input", SCHEMAS / f"{side}.schema.json", "--output", folder / f"{side}.py")
        run(folder / "bin/datamodel-codegen", *files, *OPTIONS.split())
    subprocess.run([folder / "bin/python", "-B", __file__, folder.resolve()], check=True)


main()
