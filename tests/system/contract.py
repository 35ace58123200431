"""What docs/protocol promises of every command and report, as a check."""
import json
import pathlib

import jsonschema

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "docs/protocol"


def _max_bytes(_validator, limit, value, _schema):
    if isinstance(value, str) and len(value.encode()) > limit:
        yield jsonschema.ValidationError(f"{value!r} has more than {limit} bytes")


# An older jsonschema knows draft 07 only, which reads what the schemas use in the same way.
_NEWEST = getattr(jsonschema, "Draft202012Validator", jsonschema.Draft7Validator)
DIALECTS = {
    dialect: jsonschema.validators.extend(dialect, {"x-maxBytes": _max_bytes})
    for dialect in (_NEWEST, jsonschema.Draft7Validator)
}


def load(name):
    return json.loads((FOLDER / name).read_text())


def by_type(document):
    """The definitions of the messages, by their type."""
    return {int(key): value for key, value in document["$defs"].items() if key.isdigit()}


def _validators(document, dialect=_NEWEST):
    return {
        number: DIALECTS[dialect]({"$ref": f"#/$defs/{number}", "$defs": document["$defs"]})
        for number in by_type(document)
    }


COMMANDS, REPORTS = load("commands.schema.json"), load("reports.schema.json")
_COMMANDS, _REPORTS = _validators(COMMANDS), _validators(REPORTS)
_COMMANDS_07 = _validators(COMMANDS, jsonschema.Draft7Validator)
_REPORTS_07 = _validators(REPORTS, jsonschema.Draft7Validator)


def _faults(newest, draft_07, number, message):
    if number not in newest:
        return [f"unknown type {number}"]
    faults = [
        f"{number} {'/'.join(map(str, error.absolute_path))}: {error.message}"
        for error in newest[number].iter_errors(message)
    ]
    assert draft_07[number].is_valid(message) == (not faults), "the dialects do not agree"
    return faults


def report_faults(report):
    """What is wrong with a report; nothing when it keeps the contract."""
    return _faults(_REPORTS, _REPORTS_07, report.get("type"), report)


def command_faults(text):
    """What is wrong with a command text that is a JSON object."""
    command = json.loads(text)
    number = command.get("type")
    number = int(number) if isinstance(number, str) and number.isdigit() else number
    faults = _faults(_COMMANDS, _COMMANDS_07, number, command)
    limit = by_type(COMMANDS).get(number, {}).get("x-maxCommandBytes")
    if limit is not None and len(text.encode()) > limit:
        faults.append(f"{number}: more than {limit} bytes")
    return faults
