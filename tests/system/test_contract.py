"""docs/protocol is made of the agent's own tables; here, that it is what it says it is."""
import json

import contract
import pytest

BOTH = pytest.mark.parametrize(
    "document", [contract.COMMANDS, contract.REPORTS], ids=["cmd", "rep"]
)


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


@BOTH
def test_schemas(document):
    for dialect in contract.DIALECTS:
        dialect.check_schema(document)
    for name, definition in document["$defs"].items():
        assert list(numbers_without_unit(document, definition, name)) == []
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


def references(value):
    if isinstance(value, dict):
        yield from [value["$ref"]] if "$ref" in value else []
    for inner in value.values() if isinstance(value, dict) else value:
        if isinstance(inner, (dict, list)):
            yield from references(inner)


def test_asyncapi_document():
    document = contract.load("asyncapi.json")
    assert document["asyncapi"] == "3.0.0" and {"title", "version"} <= set(document["info"])
    for reference in references(document):
        file, _, path = reference.partition("#/")
        target = contract.load(file) if file else document
        for step in path.split("/"):
            target = target[step]
    for side in ("commands", "reports"):
        messages = document["channels"][side]["messages"]
        definitions = contract.by_type(contract.load(f"{side}.schema.json"))
        assert list(messages) == [f"{side[:-1]}{number}" for number in definitions]
        for message, (number, definition) in zip(messages.values(), definitions.items()):
            assert message["payload"]["schema"]["$ref"].endswith(f"/{number}")
            assert [it["payload"] for it in message["examples"]] == definition["examples"]
    # Every message of a channel is sent or received, and none else.
    spoken = set()
    for operation in document["operations"].values():
        assert operation["action"] in ("send", "receive") and operation["summary"].endswith(".")
        for part in filter(None, (operation, operation.get("reply"))):
            channel = part["channel"]["$ref"]
            named = {message["$ref"] for message in part["messages"]}
            assert named and all(name.startswith(channel + "/messages/") for name in named)
            spoken |= named
    assert spoken == {
        f"#/channels/{name}/messages/{message}"
        for name, channel in document["channels"].items()
        for message in channel["messages"]
    }
