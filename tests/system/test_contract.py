"""docs/protocol is made of the agent's own tables; here, that it is what it says it is."""
import json
import re

import contract
import pytest

# Keywords that 2020-12 and draft 07 read alike.
KEYWORDS = {"$schema", "$defs", "$ref", "title", "description", "allOf", "anyOf", "not", "type"}
KEYWORDS |= {"const", "enum", "properties", "required", "additionalProperties", "items", "pattern"}
KEYWORDS |= {"minItems", "maxItems", "minLength", "maxLength", "minimum", "maximum"}
KEYWORDS |= {"default", "examples", "x-maxBytes", "x-maxCommandBytes", "x-unit"}


def resolved(document, schema):
    while "$ref" in schema:
        schema = document["$defs"][schema["$ref"].removeprefix("#/$defs/")]
    return schema


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
    "message": ("name title summary payload examples", ""),
    "payload": ("schemaFormat schema", ""),
    "operation": (
        "action channel title summary description messages bindings",
        "reply x-reconnects",
    ),
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


@pytest.mark.parametrize("document", [contract.COMMANDS, contract.REPORTS], ids=["cmd", "rep"])
def test_examples_keep_the_contract(document):
    for definition in contract.by_type(document).values():
        for example in definition["examples"]:
            if document is contract.COMMANDS:
                assert not contract.command_faults(json.dumps(example).encode())
                assert contract.command_faults(json.dumps(example | {"type": 999}).encode())
            else:
                assert not contract.report_faults(example)
                assert contract.report_faults(example | {"extra": 1})
                assert contract.report_faults(example | {"data": {}})


@pytest.mark.parametrize("name", [{}, {"ifname": ""}, {"ifname": None}, {"radio_name": ""}])
def test_what_is_set_has_a_name(name):
    """The agent would send it empty."""
    for number, key in ((1004, "vap_config"), (1005, "general_data")):
        command = {"type": number, "data": {key: {"channel": "6"} | name}}
        assert contract.command_faults(json.dumps(command).encode())


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
