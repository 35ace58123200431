#!/usr/bin/python3
"""Makes docs/protocol of what the agent's tables say (facts) and of words.json.

usage: generate.py FACTS_PROGRAM [--check]    --check: writes nothing, fails on a difference
"""
import json
import pathlib
import subprocess
import sys

import page

HERE = pathlib.Path(__file__).resolve().parent
FOLDER = HERE.parent / "docs/protocol"
WORDS = json.loads((HERE / "words.json").read_text())
DRAFT = "2020-12"
TIME = 1700000000000
SIDES = ("commands", "reports")

# What a command may give an integer as text; of narrow ones only what fits.
DECIMALS = {
    "u8": "^0*([1-9]?[0-9]|1[0-9]{2}|2[0-4][0-9]|25[0-5])$",
    "u16": "^0*([0-9]{1,4}|[1-5][0-9]{4}|6[0-4][0-9]{3}|65[0-4][0-9]{2}|655[0-2][0-9]|6553[0-5])$",
    "i32": "^-?[0-9]{1,10}$",
}
MAC = {"type": "string", "pattern": "^[0-9a-f]{2}(:[0-9a-f]{2}){5}$"}
FOLLOWS = "The report follows"
REFUSED = ", also when the wifi manager refuses the change: it shows what is in force"
RECONNECTS = " Then the device reconnects and announces itself until the next command."
PLAIN = {"description", "default", "x-unit", "examples"}


def reference(name):
    return {"$ref": f"#/$defs/{name}"}


def parts(entry):
    """Title and description of a message, or description and example of a member, and the rest."""
    return [*entry, {}][:3]


def words_of(table, fact, side=""):
    """Description and example of a member, by table, type or key, and what else one side tells."""
    key = fact["key"]
    names = (f"{table}.{key}", f"{fact['type']}.{key}", key)
    words = next(WORDS["members"][name] for name in names if name in WORDS["members"])
    description, example, more = parts(words)
    if fact["type"] == "text" and type(example) is int:
        example = str(example)
    told = {key: value for key, value in more.items() if key not in SIDES}
    return description, example, told | more.get(side, {})


class Side:
    """One of the two schemas: what commands may say, or what reports say."""

    def __init__(self, name):
        self.name, self.types, self.tables = name, {}, {}

    def scalar(self, fact):
        """Name and schema of a member that is no list."""
        kind, command = fact["type"], self.name == "commands"
        if kind == "mac":
            return "mac", MAC
        if kind != "text":
            limits = {"minimum": fact["lowest"], "maximum": fact["highest"]}
            text = {"type": ["integer", "string"], "pattern": DECIMALS[kind]}
            return kind, (text if command else {"type": "integer"}) | limits
        if not command:
            return f"text{fact['width']}", {"type": "string", "maxLength": fact["width"]}
        size, null = fact["longest"], [] if fact["required"] or "key" not in fact else ["null"]
        kinds = {"type": ["string", "number", "boolean", *null]}
        return f"text{size}", kinds | {"maxLength": size, "x-maxBytes": size}

    def array(self, entries, words):
        least, most = entries["shown_least"], entries["shown_most"]
        if self.name == "commands":
            least, most = 0, entries["room"]
        schema = {"type": "array"} | ({"minItems": least} if least else {})
        if most > 1:  # else what follows the first entry is ignored
            schema["maxItems"] = most
        if "of" in words:
            return schema | {"items": self.table(words["of"], entries["members"])}
        return schema | {"items": self.narrowed(entries["members"][0], words.get("items", {}))}

    def narrowed(self, fact, words):
        """A scalar with what its words say: beside a name, or in its place when they limit it."""
        name, schema = self.scalar(fact)
        if fact["type"] in DECIMALS and "enum" not in words:
            words = {"x-unit": "the wifi manager's"} | words
        if set(words) <= PLAIN:
            self.types[name] = schema
            return reference(name) | words
        return words if "enum" in words else schema | words

    def member(self, fact, table):
        description, example, words = words_of(table, fact, self.name)
        own = {"description": description} if description else {}
        if fact["type"] == "list":
            schema = self.array(fact["list"], words)
            return own | schema | {k: v for k, v in words.items() if k not in ("of", "items")}
        return self.narrowed(fact, own | words | {"examples": [example]})

    def table(self, name, facts):
        """The definition of a table, and a reference to it."""
        words, command = WORDS["tables"].get(name, {}), self.name == "commands"
        shown = [fact for fact in facts if fact["settable"] or not command]
        shown_always = [fact.get("list", {}).get("always_shown", True) for fact in shown]
        # What must not be empty must be there, although the agent would send it empty.
        needs = [it["required"] or "minLength" in words_of(name, it, self.name)[2] for it in shown]
        needed = zip(shown, needs if command else shown_always)
        asked = [fact["key"] for fact, is_needed in needed if is_needed]
        definition = {"type": "object", "required": asked, **words}
        if not definition["required"]:
            del definition["required"]
        definition |= {"additionalProperties": False, "properties": {}}
        self.tables[name] = definition
        for fact in shown:
            definition["properties"][fact["key"]] = self.member(fact, name)
        return reference(name)

    def document(self, messages):
        definitions = messages | WORDS["definitions"][self.name] | self.tables | self.types
        return {
            "$schema": f"https://json-schema.org/draft/{DRAFT}/schema",
            "title": f"{self.name.title()} of qvagent",
            "description": WORDS[f"{self.name}Description"],
            "anyOf": [reference(number) for number in messages],
            "$defs": definitions,
        }


def data_of(title, key, schema, **more):
    names = {"title": f"{title} data", "type": "object", "required": [key]}
    return names | more | {"properties": {key: schema}}


def command(side, number, fact):
    title, description, words = parts(WORDS["commands"][number])
    definition = {"title": title, "description": description, "allOf": [reference("header")]}
    example = {"type": int(number), "timestamp": TIME}
    properties = {"type": {"enum": [int(number), number]}}
    if fact.get("command_max"):
        definition["x-maxCommandBytes"] = fact["command_max"]
    if key := fact.get("key"):
        if "members" in fact:
            data = data_of(title, key, side.table(words["members"], fact["members"]))
        else:
            size = fact["text_max"]
            data = data_of(title, key, {"maxLength": size, "x-maxBytes": size} | words["text"])
        if confirm := fact.get("confirm"):
            limits = {"minimum": confirm["lowest"], "maximum": confirm["highest"]}
            data["properties"][confirm["key"]] = {"type": "integer"} | limits | WORDS["confirm"]
        if words.get("optional") or "default" in words.get("text", {}):
            del data["required"]
        else:
            definition["required"] = ["data"]
        properties["data"] = data
        example["data"] = {key: words.get("example") or example_of(fact["members"], words)}
    definition |= words.get("schema", {})
    definition["properties"] = properties | definition.get("properties", {})
    return definition | {"examples": [example]}


def example_of(facts, words):
    """A record made of the examples of the members that are shown; a list has one entry."""
    record, name = {}, words["members"]
    for fact in facts:
        key = fact["key"]
        _, example, more = words_of(name, fact)
        if "of" in more:
            example = [example_of(fact["list"]["members"], {"members": more["of"]})]
        if key in words.get("shown", [key]):
            record[key] = example
    return record


def report(side, number, fact):
    title, description, words = parts(WORDS["reports"][number])
    key, name, ip = fact["key"], words["members"], ["ip"] if fact["has_ip"] else []
    if "list" in fact:
        body = side.array(fact["list"], {"of": name})
        example = [example_of(fact["list"]["members"], words)]
    elif "members" in fact:
        body = side.table(name, fact["members"])
        example = example_of(fact["members"], words)
    else:
        body, example = reference(name), words["example"]
    title += " report"  # another name than that of the table in it
    definition = {"title": title, "description": description, "allOf": [reference("envelope")]}
    definition |= {"required": ip} if ip else {"not": {"required": ["ip"]}}
    data = data_of(title, key, body, additionalProperties=False)
    definition["properties"] = {"type": {"const": int(number)}, "data": data}
    envelope = {"type": int(number), "flag": "REQ", "fwname": "QV_VER_1_0_1", "hwname": "KX7310"}
    envelope |= {"timestamp": TIME, "macaddr": "02:11:22:33:44:55"}
    envelope |= {"ip": "192.168.1.1"} if ip else {}
    return definition | {"examples": [envelope | {"data": {key: example}}]}


def follows(fact, words):
    if "then" in words:
        return words["then"]
    answer = FOLLOWS + REFUSED * ("members" in words) if fact.get("answer") else "Nothing follows"
    return answer + "." + RECONNECTS * fact["reconnects"]


def summary(definition):
    return definition["description"].partition(". ")[0].removesuffix(".") + "."


def channel(address, side, description, definitions, **more):
    def message(number, definition):
        schema = {"$ref": f"./{side}.schema.json#/$defs/{number}"}
        payload = {"schemaFormat": f"application/schema+json;version=draft-{DRAFT}"}
        named = {"name": number, "title": definition["title"], "summary": summary(definition)}
        examples = [{"payload": example} for example in definition["examples"]]
        return named | {"payload": payload | {"schema": schema}, "examples": examples}

    messages = {f"{side[:-1]}{n}": message(n, d) for n, d in definitions.items()}
    return {"address": address, "description": description, **more, "messages": messages}


def operation(action, side, number, definition, title, description, **more):
    begin = {"action": action, "channel": {"$ref": f"#/channels/{side}"}, "title": title}
    told = {"summary": summary(definition), "description": description}
    messages = [{"$ref": f"#/channels/{side}/messages/{side[:-1]}{number}"}]
    bindings = {"$ref": "#/components/operationBindings/mqtt"}
    return begin | told | {"messages": messages} | more | {"bindings": bindings}


def asyncapi(facts, commands, reports):
    mac = {"mac": {"description": WORDS["mac"], "examples": ["02:11:22:33:44:55"]}}
    address = facts["command_topic"] + "{mac}"
    operations = {}
    for number, fact in sorted(facts["commands"].items()):
        more = {}
        if fact.get("answer"):
            message = {"$ref": f"#/channels/reports/messages/report{fact['answer']}"}
            more["reply"] = {"channel": {"$ref": "#/channels/reports"}, "messages": [message]}
        if fact["reconnects"]:
            more["x-reconnects"] = True
        title, _, words = parts(WORDS["commands"][number])
        sent = ("commands", number, commands[number], title, follows(fact, words))
        operations[f"command{number}"] = operation("receive", *sent, **more)
    for name, number in (("announce", "1000"), ("reportStatistics", "1003")):
        operations[name] = operation("send", "reports", number, reports[number], *WORDS[name])
    server = {"host": "127.0.0.1:1883", "protocol": "mqtt", "protocolVersion": "3.1.1"}
    to_device = channel(address, "commands", "Commands to one device.", commands, parameters=mac)
    to_all = channel(facts["report_topic"], "reports", "Reports of all devices.", reports)
    bindings = {"mqtt": {"mqtt": {"qos": 0, "retain": False, "bindingVersion": "0.2.0"}}}
    info = {"title": "qvagent", "version": "1.0.1"}
    return {
        "asyncapi": "3.0.0",
        "info": info | {"description": "\n\n".join(WORDS["introduction"])},
        "defaultContentType": "application/json",
        "servers": {"broker": server | {"description": WORDS["server"]}},
        "channels": {"commands": to_device, "reports": to_all},
        "operations": operations,
        "components": {"operationBindings": bindings},
    }


def files(facts):
    sent, said = (Side(name) for name in SIDES)
    commands = {n: command(sent, n, fact) for n, fact in sorted(facts["commands"].items())}
    reports = {n: report(said, n, fact) for n, fact in sorted(facts["reports"].items())}
    documents = {
        "commands.schema.json": sent.document(commands),
        "reports.schema.json": said.document(reports),
        "asyncapi.json": asyncapi(facts, commands, reports),
    }
    for name, document in documents.items():
        yield name, json.dumps(document, indent=2, ensure_ascii=False) + "\n"
    yield "README.md", page.page(*documents.values())


def main():
    facts = json.loads(subprocess.check_output([sys.argv[1]]))
    stale = [(n, text) for n, text in files(facts) if (FOLDER / n).read_text() != text]
    for name, text in stale:
        if "--check" in sys.argv:
            sys.exit(f"docs/protocol/{name} is not what the agent says: ninja -C build contract")
        (FOLDER / name).write_text(text)


main()
