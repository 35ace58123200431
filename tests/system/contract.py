"""What docs/protocol promises of every command and report, as a check."""
import json
import pathlib

import jsonschema

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "docs/protocol"


def _json_text(value):
    """A value as json-c prints it."""
    if isinstance(value, dict):
        ends = "{}"
        parts = [f"{_json_text(key)}: {_json_text(item)}" for key, item in value.items()]
    elif isinstance(value, list):
        ends, parts = "[]", [_json_text(item) for item in value]
    else:
        return json.dumps(value, ensure_ascii=False)
    return " ".join([ends[0], *([", ".join(parts)] if parts else []), ends[1]])


def text_of(value):
    """What the agent makes of a value that stands for a text."""
    return value or "" if value is None or isinstance(value, str) else _json_text(value)


def _max_bytes(_validator, limit, value, _schema):
    if len(text_of(value).encode()) > limit:
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
    if not isinstance(number, int) or number not in newest:
        return [f"unknown type {number}"]
    faults = [
        f"{number} {'/'.join(map(str, error.absolute_path))}: {error.message}"
        for error in newest[number].iter_errors(message)
    ]
    assert draft_07[number].is_valid(message) == (not faults), "the dialects do not agree"
    return faults


def report_faults(report):
    """What is wrong with a report; nothing when it keeps the contract."""
    if not isinstance(report, dict):
        return ["no JSON object"]
    return _faults(_REPORTS, _REPORTS_07, report.get("type"), report)


def command_faults(text):
    """What is wrong with the bytes of a command; nothing when they keep the contract."""
    try:
        command = json.loads(text)
    except (ValueError, RecursionError) as error:
        return [f"no JSON: {error}"]
    if not isinstance(command, dict):
        return ["no JSON object"]
    number = command.get("type")
    number = int(number) if isinstance(number, str) and number.isdigit() else number
    faults = _faults(_COMMANDS, _COMMANDS_07, number, command)
    limit = by_type(COMMANDS).get(number, {}).get("x-maxCommandBytes") if not faults else None
    if limit is not None and len(text) > limit:
        faults.append(f"{number}: more than {limit} bytes")
    return faults
