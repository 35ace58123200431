"""Where the agent's instructions go, from a callgrind profile.

Every function's own instructions count for the first function of its chain of callers that
belongs to something: what the C library does counts for who called it.
"""
import collections
import re

# (what it is, where the function is: source file, object or its name)
WHERE = [
    ("logging", re.compile(r"src/platform/log\.|log_report")),
    ("writing reports", re.compile(r"src/(json/(json|mac)_text|protocol/record_text|reports)")),
    ("reading JSON", re.compile(r"libjson-c|src/(json|protocol|wireless|settings|network)/")),
    ("wifi-manager exchange", re.compile(r"src/(wifimgr|platform)/")),
    ("queue and dispatch", re.compile(r"src/(agent/|state_machine)")),
    ("broker link", re.compile(r"src/broker/")),
    ("libmosquitto", re.compile(r"libmosquitto")),
]
REST = "rest"
NAME = re.compile(r"\((\d+)\)(?: (.*))?")


class Profile:
    """Own instructions by chain of callers, and where each function lies."""

    def __init__(self, text):
        self.own = collections.Counter()
        self.place = {}
        self._names = {"ob": {}, "fl": {}, "fn": {}}
        current = {"ob": "", "fl": "", "fn": ""}
        in_call = False
        for line in text.splitlines():
            key, equals, value = line.partition("=")
            if equals and key in ("ob", "fl", "fi", "fe", "fn"):
                table = "fl" if key in ("fi", "fe") else key
                name = self._name(table, value)
                if key in current:
                    current[key] = name
                if key == "fn":
                    self.place.setdefault(name.split("'")[0], f"{current['fl']} {current['ob']}")
            elif equals and key in ("cob", "cfi", "cfl", "cfn"):
                self._name({"cob": "ob", "cfn": "fn"}.get(key, "fl"), value)
            elif line.startswith("calls="):
                in_call = True
            elif re.match(r"[+\-*\d]", line):
                if not in_call:
                    self.own[current["fn"]] += int(line.split()[1])
                in_call = False

    def _name(self, table, value):
        number, name = NAME.match(value).groups()
        if name is not None:
            self._names[table][number] = name
        return self._names[table][number]

    def _what(self, function):
        place = self.place.get(function, "")
        for what, pattern in WHERE:
            if pattern.search(function) or pattern.search(place):
                return what
        return None

    def totals(self):
        totals = collections.Counter()
        for chain, count in self.own.items():
            whats = (self._what(name) for name in chain.split("'"))
            totals[next(filter(None, whats), REST)] += count
        return totals
