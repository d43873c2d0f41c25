"""The derived parts of docs/reference.md: for each function its signature and doc string (from the
module), its exceptions (from fault_rows/) and its operations (from the tool's table).

`./run reference` writes them into the page; tests/packages/test_reference.py compares.
"""

import collections
import inspect
import io
import json
import os
import re
import textwrap

import fault_rows
import pyquelt

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
PAGE = os.path.join(ROOT, "docs", "reference.md")
_COMMON, _OPERATIONS = "Common to all functions\n", "Operations\n"


def read(*path):
    with io.open(os.path.join(ROOT, *path), encoding="utf-8") as file:
        return file.read()


#: The operations that each function performs, in the order of their first calls.
OPERATIONS = json.loads(read("embedded_host", "tool", "function_operations.json"))


def _code(texts):
    return ", ".join("`%s`" % text for text in texts)


def _row(cells):
    return "| " + " | ".join(cells) + " |\n"


def _message(outcome):
    return ("the interpreter's own" if outcome.message is None else
            _code([outcome.message]) if outcome.message else "none")


def _exceptions(outcomes):
    """The rows of a table of exceptions: one for all that differ only in the message."""
    rows = collections.OrderedDict()
    for outcome in outcomes:
        rows.setdefault((outcome.kind, outcome.when), []).append(_message(outcome))
    return "".join(_row((_code(each.__name__ for each in (
        kind if isinstance(kind, tuple) else (kind,))), ", ".join(messages), when))
        for (kind, when), messages in rows.items())


def _replace_rows(text, header, rows):
    """The text with these rows in its one table with this header."""
    table = _row(header) + "|" + "---|" * len(header) + "\n"
    before, found, after = text.partition(table)
    if not found or table in after:
        raise ValueError("%s: expected one table that begins\n%s" % (text.split("\n")[0], table))
    return before + found + rows + re.sub(r"\A(\|.*\n)*", "", after)


def _render_section(section):
    name = section.split("\n", 1)[0]
    if not hasattr(pyquelt, name):
        return section
    function = getattr(pyquelt, name)
    signature = textwrap.fill(
        name + str(inspect.signature(function)), 100, subsequent_indent=" " * (len(name) + 1),
        break_long_words=False, break_on_hyphens=False)
    opening = "%s\n\n```python\n%s\n```\n\n*%s*\n" % (name, signature, function.__doc__)
    section = re.sub(r"\A.*\n\n```python\n[^`]*```\n\n\*.*\*\n", lambda _: opening, section)
    if not section.startswith(opening):
        raise ValueError(name + ": expected a block ```python and the doc string between asterisks")
    return _replace_rows(section, ("Exception", "Message", "When"),
                         _exceptions(fault_rows.documented(name)))


def render(page):
    """The page with all derived parts up to date."""
    parts = re.split(r"^(##+ )", page, flags=re.MULTILINE)
    for title in _COMMON, _OPERATIONS:
        if not any(part.startswith(title) for part in parts):
            raise ValueError("expected a section " + title)
    for i, part in enumerate(parts):
        if part.startswith(_COMMON):
            part = _replace_rows(part, ("Exception", "Message", "When"),
                                 _exceptions(fault_rows.GENERAL))
        if part.startswith(_OPERATIONS):
            titles = [section.split("\n", 1)[0] for section in parts]
            part = _replace_rows(part, ("Function", "Operations"), "".join(
                _row((_code([name]), _code(OPERATIONS[name])))
                for name in titles if name in OPERATIONS))
        parts[i] = _render_section(part)
    return "".join(parts)


if __name__ == "__main__":
    _page = render(read(PAGE))
    with io.open(PAGE, "w", encoding="utf-8") as _file:
        _file.write(_page)
