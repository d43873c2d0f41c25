"""The array entry and the tuple entry of each function: the interpreter uses the expected one, and
both give the same result or exception for any arguments."""

import array
import random
import unittest

import deep
import entries
import pyquelt
import scripted
import cases
from fault_build import faults, module
from test_arguments import KEYWORDS

LISTS = deep.full(20000, otherwise=1000)  # generated argument lists of each function


# Buffers that the host fills.
FILLED = {"GetDekFromDisk": {"GetUnwrappedDekForDisk": scripted.out(dek=b"k" * 64)},
          "GetWrappedDekFromDisk": {"GetEncMetadataForDisk": scripted.out(metadata=b"m" * 512)},
          "Decrypt2kBlock": {"Decrypt2kBlock": scripted.out(output=b"o" * 2048)}}


class Text(str):
    pass


class Number(int):
    pass


class Bytes(bytes):
    pass


class Index(object):
    def __index__(self):
        return 7


VALUES = (
    "", "a", "long " * 100, u"gr\u00fc\u00df", u"\U0001f4be", "a\0b", "\0", u"\ud800", Text("a"),
    0, 1, -1, 2 ** 31 - 1, 2 ** 31, -2 ** 31, -2 ** 31 - 1, 2 ** 63, 2 ** 64, -2 ** 70, 10 ** 30,
    True, Number(5), Index(), 1.5, b"", b"a\0b", b"d" * 64, b"b" * 2048, Bytes(b"d" * 64),
    bytearray(b"d" * 64), bytearray(b"b" * 2048), memoryview(b"b" * 2048),
    memoryview(b"b" * 4096)[::2], array.array("B", b"d" * 64), None, [], ["a"], ["a", 1], ("a",),
    {}, object())


def generated(case, choose):
    """An argument list like that of the case: with other values, another number, or a keyword."""
    args = [item if choose.random() < 0.6 else choose.choice(VALUES) for item in case.args]
    if choose.random() < 0.15:
        args = args[:choose.randrange(len(args) + 1)] + [choose.choice(VALUES)] * choose.choice(
            (0, 0, 1, 3))
    keywords = {choose.choice(("key", "diskName", "uuid")): "a"} if choose.random() < 0.05 else {}
    return case._replace(args=tuple(args), kwargs=dict(case.kwargs, **keywords))


class EntriesTest(scripted.ScriptedTestCase):

    called_with_gil = None

    def test_interpreter_uses_the_array_entry_of_every_function_without_keywords(self):
        for case in cases.SUCCESS.values():
            function = getattr(module, case.function)
            faults.fault_injection_count_array_calls(function)
            cases.set_answers(case)
            calls = [faults.fault_injection_array_calls()]
            for entry in entries.both(function):
                cases.outcome(entry, case)
                calls.append(faults.fault_injection_array_calls())
            used = int(entries.HAS_ARRAY and case.function not in KEYWORDS)
            self.assertEqual([calls[1] - calls[0], calls[2] - calls[1]], [used, 0], case.function)

    def test_both_entries_give_the_same_outcome_for_generated_arguments(self):
        for case in cases.SUCCESS.values():
            case = case._replace(answers=dict(case.answers, **FILLED.get(case.function, {})))
            choose = random.Random(case.function)
            tried = [generated(case, choose) for _ in range(LISTS)]
            found = []
            for entry in entries.both(getattr(pyquelt, case.function)):
                cases.set_answers(case)
                found.append(([cases.outcome(entry, each) for each in tried], scripted.calls()))
            for each, by_array, by_tuple in zip(tried, found[0][0], found[1][0]):
                self.assertEqual(by_array, by_tuple, each)
            self.assertEqual(found[0][1], found[1][1], case.function)
        deep.figure("{} generated argument lists for each function: both entries agree", LISTS)


if __name__ == "__main__":
    unittest.main()
