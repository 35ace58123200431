"""docs/protocol names what the agent's own tables name: keys, order, types and limits."""
import json
import re
import subprocess

import contract
import harness
import pytest

# Keywords that 2020-12 and draft 07 read alike.
KEYWORDS = {"$schema", "$defs", "$ref", "title", "description", "allOf", "anyOf", "not", "type"}
KEYWORDS |= {"const", "enum", "properties", "required", "additionalProperties", "items", "pattern"}
KEYWORDS |= {"minItems", "maxItems", "minLength", "maxLength", "minimum", "maximum"}
KEYWORDS |= {"default", "x-maxBytes", "x-maxCommandBytes", "x-unit"}

# What stands beside the members of a table, and in no table.
LISTS = {"radio": ["vap_list"], "apConfigsRadio": ["vap_list"], "systemSettings": ["server"]}

# The largest value of each integer type, and what a record full of "x" holds there.
U8, U16, I32 = 255, 65535, 2**31 - 1
FULL = {U8: 0x78, U16: 0x7878, U16 - 1: 0x7878, I32: 0x78787878}


@pytest.fixture(scope="module")
def tables():
    printed = subprocess.check_output([harness.BUILD_DIR / "agent_tables"])
    return json.loads(printed.splitlines()[-1])


def resolved(document, schema):
    while "$ref" in schema:
        schema = document["$defs"][schema["$ref"].removeprefix("#/$defs/")]
    return schema


def is_limit(schema, limit):
    if isinstance(limit, str):
        return schema["maximum"] == {"u8": U8, "u16": U16, "i32": I32}[limit]
    if "x-maxBytes" in schema or "maxLength" in schema:
        return schema.get("x-maxBytes") == schema.get("maxLength") == limit
    # Other texts are as long as their pattern or their list of values says.
    counted = re.search(r"(\d+)}\$$", schema.get("pattern", ""))
    return int(counted[1]) <= limit if counted else "pattern" in schema or "enum" in schema


def network_members(tables):
    """Of settings that are reported by the table that sets them."""
    for report in tables["reports"]:
        ((key, body),) = report["data"].items()
        if key.startswith("uci_network_"):
            yield key.removeprefix("uci_network_"), {name: len(body[name]) for name in body}


def test_members_of_commands(tables):
    every = tables["members"] | dict(network_members(tables))
    assert {"lan", "wan", "wan6"} < set(every)
    for name, members in every.items():
        properties = contract.COMMANDS["$defs"][name]["properties"]
        assert sorted(properties) == sorted([*members, *LISTS.get(name, [])]), name
        for key, limit in members.items():
            assert is_limit(resolved(contract.COMMANDS, properties[key]), limit), (name, key)


def test_limits_of_commands(tables):
    commands = contract.by_type(contract.COMMANDS)
    for number, limit in tables["general_data"].items():
        data = commands[int(number)]["properties"]["data"]
        assert is_limit(data["properties"]["general_data"], limit), number
    for number in (1002, 1032):
        assert commands[number]["x-maxCommandBytes"] == tables["upgrade_command_max"]


def assert_full(schema, value, path):
    """A value made of the largest record is the largest that its schema takes."""
    schema = resolved(contract.REPORTS, schema)
    if isinstance(value, dict):
        assert list(schema["properties"]) == list(value), path
        assert set(schema["required"]) | {"server"} == set(value) | {"server"}, path
        for key, member in value.items():
            assert_full(schema["properties"][key], member, f"{path}/{key}")
    elif isinstance(value, list):
        # The count is full of "x" too; that of the stations is one byte, and no list is longer.
        assert len(value) == min(schema["maxItems"], 0x78), path
        assert schema["maxItems"] <= 0x78 or schema["maxItems"] == U8, path
        assert_full(schema["items"], value[0], path)
    elif isinstance(value, str) and "maxLength" in schema:
        assert len(value) == schema["maxLength"], path
    elif isinstance(value, int) and "maximum" in schema:
        assert FULL[schema["maximum"]] == value, path


def test_full_reports(tables):
    reports = {report["type"]: report for report in tables["reports"]}
    definitions = contract.by_type(contract.REPORTS)
    assert sorted(reports) == sorted(definitions)
    for number, report in reports.items():
        assert not contract.report_faults(report)
        (key,) = definitions[number]["properties"]["data"]["properties"]
        schema = definitions[number]["properties"]["data"]["properties"][key]
        assert_full(schema, report["data"][key], key)
        assert contract.report_faults(report | {"extra": 1})
        assert contract.report_faults(report | {"data": {}})


def numbers_without_unit(document, schema, path=""):
    """Members that may be integers and do not say of what; one that lists its values says it."""
    for key, member in schema.get("properties", {}).items():
        target = resolved(document, member)
        kinds = target.get("type", [])
        is_number = "integer" in kinds or kinds == "number"
        if is_number and "x-unit" not in member and "x-unit" not in target:
            yield f"{path}/{key}"
        for inner in (member, member.get("items", {})):
            yield from numbers_without_unit(document, inner, f"{path}/{key}")


@pytest.mark.parametrize("document", [contract.COMMANDS, contract.REPORTS], ids=["cmd", "rep"])
def test_every_number_has_a_unit(document):
    for name, definition in document["$defs"].items():
        assert list(numbers_without_unit(document, definition, name)) == []


# Members that an AsyncAPI 3.0.0 object must have, and those that it may have beside them.
SHAPES = {
    "document": ("asyncapi info channels operations", "defaultContentType servers components"),
    "info": ("title version", "description"),
    "server": ("host protocol", "protocolVersion description"),
    "channel": ("address messages", "description parameters"),
    "parameter": ("", "description examples"),
    "message": ("name title payload", ""),
    "payload": ("schemaFormat schema", ""),
    "operation": ("action channel title description messages bindings", "reply x-reconnects"),
    "reply": ("channel messages", ""),
}


def assert_shape(kind, given):
    must, may = (set(members.split()) for members in SHAPES[kind])
    assert must <= set(given) <= must | may, (kind, given)


def target(document, reference):
    """What a reference names, in the document or in a file beside it."""
    assert list(reference) == ["$ref"]
    file, _, path = reference["$ref"].partition("#/")
    value = contract.load(file) if file else document
    for step in path.split("/"):
        value = value[step]
    return value


def test_asyncapi_document():
    document = contract.load("asyncapi.json")
    assert document["asyncapi"] == "3.0.0"
    assert_shape("document", document)
    assert_shape("info", document["info"])
    for server in document["servers"].values():
        assert_shape("server", server)
    for channel in document["channels"].values():
        assert_shape("channel", channel)
        parameters = channel.get("parameters", {})
        assert re.findall(r"{(\w+)}", channel["address"]) == list(parameters)
        for parameter in parameters.values():
            assert_shape("parameter", parameter)
        for message in channel["messages"].values():
            assert_shape("message", message)
            assert_shape("payload", message["payload"])
            assert target(document, message["payload"]["schema"])
            schema = contract.load(message["payload"]["schema"]["$ref"].partition("#")[0])
            dialect = schema["$schema"].removeprefix("https://json-schema.org/draft/")
            wanted = "application/schema+json;version=draft-" + dialect.removesuffix("/schema")
            assert message["payload"]["schemaFormat"] == wanted
    sent = []
    for operation in document["operations"].values():
        assert_shape("operation", operation)
        assert operation["action"] in ("send", "receive")
        assert target(document, operation["bindings"])
        for part in filter(None, (operation, operation.get("reply"))):
            messages = target(document, part["channel"])["messages"]
            named = [target(document, message) for message in part["messages"]]
            assert named and all(message in messages.values() for message in named)
            sent += named
        if "reply" in operation:
            assert_shape("reply", operation["reply"])
    every = [m for channel in document["channels"].values() for m in channel["messages"].values()]
    assert all(message in sent for message in every)


def test_every_message_and_what_follows_it(tables):
    document = contract.load("asyncapi.json")
    channels, operations = document["channels"], document["operations"]
    for name, file, definitions in (
        ("command", "commands.schema.json", contract.by_type(contract.COMMANDS)),
        ("report", "reports.schema.json", contract.by_type(contract.REPORTS)),
    ):
        messages = channels[name + "s"]["messages"]
        assert list(messages) == [f"{name}{number}" for number in definitions]
        for number, definition in definitions.items():
            message = messages[f"{name}{number}"]
            assert message["payload"]["schema"] == {"$ref": f"./{file}#/$defs/{number}"}
            assert message["title"] == definition["title"]
    reconnecting = {
        name.removeprefix("command"): operation.get("x-reconnects", False)
        for name, operation in operations.items()
        if operation["action"] == "receive"
    }
    assert reconnecting == tables["commands"]


def keywords(schema):
    for key, value in schema.items():
        yield key
        if key in ("properties", "$defs"):
            for member in value.values():
                yield from keywords(member)
        elif key in ("allOf", "anyOf"):
            for member in value:
                yield from keywords(member)
        elif isinstance(value, dict):
            yield from keywords(value)


@pytest.mark.parametrize("document", [contract.COMMANDS, contract.REPORTS], ids=["cmd", "rep"])
def test_schemas_are_schemas(document):
    for dialect in contract.DIALECTS:
        dialect.check_schema(document)
    assert set(keywords(document)) <= KEYWORDS
