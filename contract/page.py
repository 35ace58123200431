"""The page docs/protocol/README.md, made of the schemas and the AsyncAPI document."""
import json

INTRODUCTION = """\
# The protocol between controllers and devices

<!-- Made by contract/generate.py of the agent's tables and contract/words.json. Do not edit. -->

| File | What it holds |
|---|---|
| [asyncapi.json](asyncapi.json) | AsyncAPI 3: both topics, every message, what follows each command |
| [commands.schema.json](commands.schema.json) | JSON Schema 2020-12; the command of type N is `#/$defs/N` |
| [reports.schema.json](reports.schema.json) | the same for reports |

The schemas use only keywords that 2020-12 and draft 07 read alike, and three annotations:
`x-maxBytes` (the longest text in bytes of UTF-8, where `maxLength` counts characters),
`x-maxCommandBytes` (the longest command text in bytes) and `x-unit`. They are made of the agent's own
tables, and the system tests hold to them every report that they see and every command that they
send, the examples among them.

All messages are JSON at QoS 0, not retained. In the examples every time is 1700000000000.
"""


def block(message):
    return f"```json\n{json.dumps(message, indent=2, ensure_ascii=False)}\n```\n"


def anchor(heading):
    kept = (c for c in heading.lower() if c.isalnum() or c in " -_")
    return "#" + "".join(kept).replace(" ", "-")


def by_type(document):
    """The definitions of the messages, by their type."""
    return {key: value for key, value in document["$defs"].items() if key.isdigit()}


def report_heading(reports, number):
    return f"Report {number}: {reports['$defs'][number]['title']}"


def table_heading(side, name):
    return f"In {side}: {name}"


def followed(document, schema):
    """The schema behind its references, and the name of the last of them."""
    name = None
    while "$ref" in schema:
        name = schema["$ref"].removeprefix("#/$defs/")
        schema = document["$defs"][name]
    return schema, name


def size(schema):
    """Type and limits of a member in a few words."""
    if "const" in schema:
        return json.dumps(schema["const"])
    if "enum" in schema:
        return "one of " + ", ".join(json.dumps(value) for value in schema["enum"])
    kinds = schema.get("type", "any")
    kinds = [kinds] if isinstance(kinds, str) else [kind for kind in kinds if kind != "null"]
    words = "text" if kinds == ["string", "number", "boolean"] else " or ".join(kinds)
    if "x-maxBytes" in schema:
        words += f", {schema['x-maxBytes']} bytes"
    elif "maxLength" in schema:
        words += f", {schema['maxLength']} characters"
    if "maximum" in schema:  # then a pattern says the same of the number's text
        words += f", {schema.get('minimum', '')} to {schema['maximum']}"
    elif "pattern" in schema:
        words += f", `{schema['pattern']}`"
    if "maxItems" in schema:
        words += f", at most {schema['maxItems']}"
    return words


def table(document, side, schema):
    rows = ["| Member | Type | |", "|---|---|---|"]
    for key, member in schema["properties"].items():
        target, _ = followed(document, member)
        words, inner = size(target), followed(document, target.get("items", {}))
        if inner[0].get("properties"):
            words += f" of [{inner[1]}]({anchor(table_heading(side, inner[1]))})"
        unit = f" Unit: {member['x-unit']}." if "x-unit" in member else ""
        optional = "" if key in schema.get("required", [key]) else " Optional."
        if "default" in member:
            optional = f" Default: {json.dumps(member['default'])}."
        meaning = member.get("description", target.get("description", ""))
        rows.append(f"| `{key}` | {words} | {meaning}{unit}{optional} |")
    return "\n".join(rows) + "\n"


def tables(document, side):
    for name, schema in document["$defs"].items():
        if not name.isdigit() and "properties" in schema:
            yield f"### {table_heading(side, name)}\n"
            if "description" in schema:
                yield schema["description"] + "\n"
            yield table(document, side, schema)


def body_link(document, side, definition):
    """Where the members of a message's body are described."""
    members = definition["properties"].get("data", {}).get("properties", {})
    confirm = members.get("confirm_s")
    more = f" Beside them `confirm_s`: {size(confirm)} s. Optional." if confirm else ""
    for member in members.values():
        schema, name = followed(document, member)
        schema, name = followed(document, schema["items"]) if "items" in schema else (schema, name)
        if "properties" in schema:
            return f" Members: [{name}]({anchor(table_heading(side, name))}).{more}"
        if name is None:
            default = json.dumps(schema["default"]) if "default" in schema else ""
            optional = f"; {default} when it is left out" if default else ""
            return f" `general_data`: {size(schema)}{optional}."
    return ""


def statuses(reports):
    rows = ["| Status | |", "|---|---|"]
    for row in reports["$defs"]["upgradeStatus"]["anyOf"]:
        rows.append(f"| {row.get('const', 'other negative')} | {row['description']} |")
    return "\n".join(rows) + "\n"


def sections(commands, reports, document):
    channels = document["channels"]
    yield INTRODUCTION
    mac = channels["commands"]["parameters"]["mac"]["description"]
    yield f"Commands go to `{channels['commands']['address']}`, where mac is the {mac}"
    yield f"Reports of all devices come on `{channels['reports']['address']}`.\n"
    yield document["info"]["description"] + "\n"
    yield "## Commands\n"
    for number, definition in by_type(commands).items():
        operation = document["operations"][f"command{number}"]
        yield f"### Command {number}: {definition['title']}\n"
        members = body_link(commands, "commands", definition)
        if "x-maxCommandBytes" in definition:
            members += f" The whole command text: {definition['x-maxCommandBytes']} bytes at most."
        yield definition["description"] + members + "\n"
        yield block(definition["examples"][0])
        link = ""
        if "reply" in operation:
            report = operation["reply"]["messages"][0]["$ref"].rpartition("report")[2]
            link = f" See [report {report}]({anchor(report_heading(reports, report))})."
        yield operation["description"] + link + "\n"
    yield "## Reports\n"
    for number, definition in by_type(reports).items():
        yield f"### {report_heading(reports, number)}\n"
        yield definition["description"] + body_link(reports, "reports", definition) + "\n"
        if number == "1015":
            yield statuses(reports)
        yield block(definition["examples"][0])
    for side, schema, more in (
        ("commands", commands, " A text in the tables is any of these."),
        ("reports", reports, ""),
    ):
        yield f"## Members of {side}\n"
        yield schema["description"] + more + "\n"
        yield from tables(schema, side)


def page(commands, reports, document):
    return "\n".join(sections(commands, reports, document))
