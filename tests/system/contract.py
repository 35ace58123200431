"""What docs/protocol promises of every command and report, as a check."""
import json
import pathlib

import jsonschema

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "docs/protocol"


def _max_bytes(_validator, limit, value, _schema):
    """Of a text; what may stand for one besides is the agent's to judge."""
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


def _validators(document):
    """Of each message, by its type: one of each dialect."""
    return {
        number: [
            dialect({"$ref": f"#/$defs/{number}", "$defs": document["$defs"]})
            for dialect in DIALECTS.values()
        ]
        for number in by_type(document)
    }


COMMANDS, REPORTS = load("commands.schema.json"), load("reports.schema.json")
OPERATIONS = load("asyncapi.json")["operations"]
EXAMPLES = {number: command["examples"][0] for number, command in by_type(COMMANDS).items()}
# The commands that end in a new session with the broker.
RECONNECTING = {number for number in EXAMPLES if OPERATIONS[f"command{number}"].get("x-reconnects")}
_COMMANDS, _REPORTS = _validators(COMMANDS), _validators(REPORTS)


def _faults(validators, number, message):
    if not isinstance(number, int) or number not in validators:
        return [f"unknown type {number}"]
    newest, *others = validators[number]
    faults = [
        f"{number} {'/'.join(map(str, error.absolute_path))}: {error.message}"
        for error in newest.iter_errors(message)
    ]
    assert all(other.is_valid(message) == (not faults) for other in others), "dialects disagree"
    return faults


def report_faults(report):
    """What is wrong with a report; nothing when it keeps the contract."""
    if not isinstance(report, dict):
        return ["no JSON object"]
    return _faults(_REPORTS, report.get("type"), report)


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
    faults = _faults(_COMMANDS, number, command)
    limit = by_type(COMMANDS).get(number, {}).get("x-maxCommandBytes") if not faults else None
    if limit is not None and len(text) > limit:
        faults.append(f"{number}: more than {limit} bytes")
    return faults
