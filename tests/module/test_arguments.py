"""Invalid arguments of every function, derived from the arguments of its success path
(fault_rows/): rejected with the documented exception before any operation of the host."""

import unittest

import fault_rows
import pyquelt
import cases
from rows import RowTestCase

# By the type of a valid argument: invalid values, with the exception of the interpreter's parser,
# which some functions leave unchanged.
INVALID = {
    str: [(1, TypeError), (None, TypeError), (b"a", TypeError), ("a\0b", ValueError),
          (u"\ud800", UnicodeEncodeError)],
    int: [("1", TypeError), (1.5, TypeError), (None, TypeError), (2 ** 31, OverflowError),
          (-2 ** 31 - 1, OverflowError)],
    bytes: [(item, TypeError) for item in (1, None, u"\ud800", memoryview(b"d" * 4096)[::2])],
    list: [(item, TypeError) for item in (None, "a", ("a",), ["a", 1], [None], [b"a"],
                                          [u"\ud800"])],
}
# Exceptions: a block position or a size may be any int, and these texts may be None.
ANY_INT = (("Decrypt2kBlock", 1), ("CreateObject", "size"))
OPTIONAL = ("interface", "hostname", "thumbprint", "subclusterUuid")
# A valid value of each keyword that is tested here.
_NEW_AGENT = dict.fromkeys(OPTIONAL + ("uuid", "type"), "a")
KEYWORDS = {
    "GetUnicastAgents": {}, "AddUnicastAgent": _NEW_AGENT,
    "SetUnicastInfoInConfigStore": _NEW_AGENT, "RemoveUnicastAgent": {"uuid": "a", "type": "a"},
    "CreateObject": dict(ufn="a", haMetaData="a", policy="a", groupUuid="a", cid="a", allocType=1,
                         size=1, capabilities=1, objClass=1),
    "DeleteObject": {"cid": "a"}}
# Further invalid arguments: a key is an immutable buffer or a text, a block is a buffer.
MORE = (("CacheKey", ("a", "b", bytearray(b"c"))),
        ("Decrypt2kBlock", ("x" * 64, 0, b"b" * 2048)),
        ("Decrypt2kBlock", (b"d" * 64, 0, "x" * 2048)))


def invalid_values(function, place, valid):
    for item, error in INVALID[type(valid)]:
        if not (error is OverflowError and (function, place) in ANY_INT or
                item is None and place in OPTIONAL):
            yield item, error


def invalid_calls(case):
    """(arguments, keywords, the parser's own exception)."""
    args = case.args
    for count in range(len(args)):
        yield args[:count], {}, TypeError
    yield args + (1,) * (9 if case.function in KEYWORDS else 1), {}, TypeError
    for place, valid in enumerate(args):
        for item, error in invalid_values(case.function, place, valid):
            yield args[:place] + (item,) + args[place + 1:], {}, error
    if case.function in KEYWORDS:
        yield args, {"nonsense": 1}, TypeError
        for name, valid in KEYWORDS[case.function].items():
            for item, error in invalid_values(case.function, name, valid):
                yield args, {name: item}, error


class ArgumentsTest(RowTestCase):

    def test_invalid_argument_raises_the_documented_exception_before_any_operation(self):
        documented = {row[0]: outcome for row in fault_rows.all_rows()
                      for call, outcome in row[4].items() if call.startswith("PyArg_")}
        self.assertEqual(len(documented), 26)
        for name, outcome in documented.items():
            own = fault_rows.PARSER.get(name)
            invalid = list(invalid_calls(cases.SUCCESS[name])) + [
                (args, {}, None) for function, args in MORE if function == name]
            self.check_rows(((name, args, kwargs), {}, own or outcome, [])
                            for args, kwargs, _ in invalid)
            if own:
                raised = [cases.outcome(getattr(pyquelt, name),
                                        cases.Case(name, args, kwargs, {}))[0]
                          for args, kwargs, _ in invalid]
                self.assertEqual(raised, [error for _, _, error in invalid])
                self.assertEqual({kind for kind in own.kind for error in raised
                                  if issubclass(error, kind)}, set(own.kind))

    def test_functions_without_parameters_ignore_arguments(self):
        ignoring = [case for case in cases.SUCCESS.values()
                    if not case.args and case.function not in KEYWORDS]
        for case in ignoring:
            cases.set_answers(case)
            self.assertEqual(getattr(pyquelt, case.function)(1, "x", None),
                             cases.outcome(getattr(pyquelt, case.function), case), case.function)
        self.assertEqual(len(ignoring), 12)


if __name__ == "__main__":
    unittest.main()
