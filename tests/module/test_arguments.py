"""Arguments that every function must refuse before it asks the host, or leave alone: one rule for
all, from the arguments on its way to success (fault_rows/) and the message of a failed parse."""

import unittest

import fault_rows
import pyquelt
import sweep
from rows import RowTestCase

# By the type of a good argument: what must not be taken in its place, and the parser's own
# exception, for the functions that leave it standing.
BAD = {
    str: [(1, TypeError), (None, TypeError), (b"a", TypeError), ("a\0b", ValueError),
          (u"\ud800", UnicodeEncodeError)],
    int: [("1", TypeError), (1.5, TypeError), (None, TypeError), (2 ** 31, OverflowError),
          (-2 ** 31 - 1, OverflowError)],
    bytes: [(item, TypeError) for item in (1, None, u"\ud800", memoryview(b"d" * 4096)[::2])],
    list: [(item, TypeError) for item in (None, "a", ("a",), ["a", 1], [None], [b"a"],
                                          [u"\ud800"])],
}
# What is good in its place nevertheless: any int is a block position or a size, and these texts may
# be None.
ANY_INT = (("Decrypt2kBlock", 1), ("CreateObject", "size"))
OPTIONAL = ("interface", "hostname", "thumbprint", "subclusterUuid")
# A good value for each keyword whose value is looked at here.
_NEW_AGENT = dict.fromkeys(OPTIONAL + ("uuid", "type"), "a")
KEYWORDS = {
    "GetUnicastAgents": {}, "AddUnicastAgent": _NEW_AGENT,
    "SetUnicastInfoInConfigStore": _NEW_AGENT, "RemoveUnicastAgent": {"uuid": "a", "type": "a"},
    "CreateObject": dict(ufn="a", haMetaData="a", policy="a", groupUuid="a", cid="a", allocType=1,
                         size=1, capabilities=1, objClass=1),
    "DeleteObject": {"cid": "a"}}
# Beside the rule: a key is a text or bytes that can't change, a block is bytes.
MORE = (("CacheKey", ("a", "b", bytearray(b"c"))),
        ("Decrypt2kBlock", ("x" * 64, 0, b"b" * 2048)),
        ("Decrypt2kBlock", (b"d" * 64, 0, "x" * 2048)))


def bad_values(function, place, good):
    for item, error in BAD[type(good)]:
        if not (error is OverflowError and (function, place) in ANY_INT or
                item is None and place in OPTIONAL):
            yield item, error


def bad_calls(way):
    """(arguments, keywords, the parser's own exception)."""
    args = way.args
    for count in range(len(args)):
        yield args[:count], {}, TypeError
    yield args + (1,) * (9 if way.function in KEYWORDS else 1), {}, TypeError
    for place, good in enumerate(args):
        for item, error in bad_values(way.function, place, good):
            yield args[:place] + (item,) + args[place + 1:], {}, error
    if way.function in KEYWORDS:
        yield args, {"nonsense": 1}, TypeError
        for name, good in KEYWORDS[way.function].items():
            for item, error in bad_values(way.function, name, good):
                yield args, {name: item}, error


class ArgumentsTest(RowTestCase):

    def test_bad_argument_reaches_the_host_or_raises_something_else(self):
        told = {row[0]: outcome for row in fault_rows.all_rows()
                for call, outcome in row[4].items() if call.startswith("PyArg_")}
        self.assertEqual(len(told), 26)
        for name, outcome in told.items():
            own = fault_rows.PARSER.get(name)
            bad = list(bad_calls(sweep.WAYS[name])) + [
                (args, {}, None) for function, args in MORE if function == name]
            self.check_rows(((name, args, kwargs), {}, own or outcome, [])
                            for args, kwargs, _ in bad)
            if own:
                raised = [sweep.outcome(getattr(pyquelt, name),
                                        sweep.Way(name, args, kwargs, {}))[0]
                          for args, kwargs, _ in bad]
                self.assertEqual(raised, [error for _, _, error in bad])
                self.assertEqual({kind for kind in own.kind for error in raised
                                  if issubclass(error, kind)}, set(own.kind))

    def test_argument_that_is_ignored_is_looked_at(self):
        ignoring = [way for way in sweep.WAYS.values()
                    if not way.args and way.function not in KEYWORDS]
        for way in ignoring:
            sweep.set_answers(way)
            self.assertEqual(getattr(pyquelt, way.function)(1, "x", None),
                             sweep.outcome(getattr(pyquelt, way.function), way), way.function)
        self.assertEqual(len(ignoring), 12)


if __name__ == "__main__":
    unittest.main()
