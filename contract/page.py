"""The page docs/protocol/README.md: page.md.jinja, filled from the schemas and the AsyncAPI document."""
import json
import pathlib
import re

import jinja2

FOLDER = pathlib.Path(__file__).resolve().parent


def block(message):
    return f"```json\n{json.dumps(message, indent=2, ensure_ascii=False)}\n```\n"


def anchor(heading):
    kept = (c for c in heading.lower() if c.isalnum() or c in " -_")
    return "#" + "".join(kept).replace(" ", "-")


def link(heading, text):
    return f"[{text}]({anchor(heading)})"


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


def kind(document, side, member):
    target, _ = followed(document, member)
    inner, name = followed(document, target.get("items", {}))
    of = f" of {link(table_heading(side, name), name)}" if "properties" in inner else ""
    return size(target) + of


def body_link(document, side, definition):
    """Where the members of a message's body are described."""
    members = definition["properties"].get("data", {}).get("properties", {})
    confirm = members.get("confirm_s")
    more = f" Beside them `confirm_s`: {size(confirm)} s. Optional." if confirm else ""
    for member in members.values():
        schema, name = followed(document, member)
        schema, name = followed(document, schema["items"]) if "items" in schema else (schema, name)
        if "properties" in schema:
            return f" Members: {link(table_heading(side, name), name)}.{more}"
        if name is None:
            default = json.dumps(schema["default"]) if "default" in schema else ""
            optional = f"; {default} when it is left out" if default else ""
            return f" `general_data`: {size(schema)}{optional}."
    return ""


def page(commands, reports, asyncapi):
    def command_heading(number):
        return f"Command {number}: {commands['$defs'][number]['title']}"

    def report_heading(number):
        return f"Report {number}: {reports['$defs'][number]['title'].removesuffix(' report')}"

    def answer_link(operation):
        number = json.dumps(operation.get("reply", "")).rpartition("report")[2].strip('"}]')
        return link(report_heading(number), f"report {number}") if number else "–"

    loader = jinja2.FileSystemLoader(FOLDER)
    options = {"trim_blocks": True, "lstrip_blocks": True}
    template = jinja2.Environment(loader=loader, **options).get_template("page.md.jinja")
    text = template.render(globals() | locals(), contents="@")
    headings = re.findall("^## (.*)", text, re.MULTILINE)
    contents = "".join(f"- {link(heading, heading)}\n" for heading in headings)
    return text.replace("@", contents, 1).rstrip() + "\n"
