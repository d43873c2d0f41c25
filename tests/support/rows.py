"""Rows: one call of a module function, the answers of the host, the outcome.

A row is (call, answers by operation, outcome, calls of the host):
- `call.GetHostInfo(...)` is the call,
- the outcome is the result, compared with its types and, where it is an OrderedDict, its order;
  or an Outcome of the table in fault_rows/;
- `op.SetKekId(...)` is an operation with its arguments as the host recorded them, without releases
  and the operations that get the plug-in. None: not checked.
"""

import sys

import fault_rows
import pyquelt
import scripted


class _Builder:
    def __init__(self, make):
        self._make = make

    def __getattr__(self, name):
        return lambda *args, **kwargs: self._make(name, args, kwargs)


call = _Builder(lambda name, args, kwargs: (name, args, kwargs))
op = _Builder(lambda name, args, _: (name, list(args)))


def text_rows(made, answers, outcome, undecodable=fault_rows.NOT_UTF8):
    """Rows for one text of the host. `answers` and `outcome` are functions of that text."""
    return [(made, answers(stored), outcome(text), None) for stored, text in (
        (b"", ""), (b"a\0b", "a"), (b"\xe2\x82\xac", u"\u20ac"))] + [
            (made, answers(b"\xff"), undecodable, None)]


def _same(value, expected):
    """Whether both are equal, including all types and the order of an OrderedDict."""
    if isinstance(expected, dict):
        in_order = type(expected) is dict or sys.version_info < (3, 6)
        return (type(value) is dict and set(value) == set(expected) and
                (in_order or list(value) == list(expected)) and
                all(_same(value[key], expected[key]) for key in expected))
    if isinstance(expected, (list, tuple)):
        return (type(value) is type(expected) and len(value) == len(expected) and
                all(map(_same, value, expected)))
    return type(value) is type(expected) and value == expected


class _Short(object):
    """Formats an item only when a test fails, and truncates it."""
    def __init__(self, item):
        self._item = item

    def __repr__(self):
        return repr(self._item)[:1000]


class RowTestCase(scripted.ScriptedTestCase):

    def check_outcome(self, made, outcome):
        name, args, kwargs = made
        fails = isinstance(outcome, fault_rows.Outcome)
        if fails:
            self.assertIn(outcome.row, {
                each.row for each in fault_rows.documented(name) + list(fault_rows.GENERAL)},
                name + " has no such exception in fault_rows/")
        try:
            result = getattr(pyquelt, name)(*args, **kwargs)
        except Exception as error:  # pylint: disable=broad-except
            if not fails:
                raise
            if outcome[1] is None:  # the interpreter's own
                self.assertIsInstance(error, outcome[0])
            else:
                self.assertEqual((type(error), str(error)), outcome)
        else:
            self.assertFalse(fails, result)
            self.assertTrue(_same(result, outcome), _Short((result, outcome)))

    def check_rows(self, rows):
        for made, answers, outcome, operations in rows:
            with self.subTest(made[0], row=_Short(made[1:] + (answers,))):
                scripted.reset()
                for operation, given in answers.items():
                    scripted.answer(operation, given)
                self.check_outcome(made, outcome)
                if operations is not None:
                    self.assertEqual([(name, arguments) for name, arguments in scripted.calls()
                                      if name[0] != "~" and
                                      name not in ("GetQueltPlugin", "GetHostSystem")], operations)
                self.check_gil()
