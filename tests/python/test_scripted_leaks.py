"""Thousands of calls of each function, on its way to success and on each of its failures, hold
nothing that one call does not."""

import array
import ctypes
import gc
import os
import sys
import unittest

import deep
import fault_rows
import pyquelt
import scripted
import sweep

CALLS = deep.full(10000, otherwise=60)
# What one leaking allocation takes at least, in bytes.
SMALLEST = 24


class _Mallinfo(ctypes.Structure):
    _fields_ = [(name, ctypes.c_size_t) for name in (
        "arena", "ordblks", "smblks", "hblks", "hblkhd", "usmblks", "fsmblks", "uordblks",
        "fordblks", "keepcost")]


_mallinfo = getattr(ctypes.CDLL(None), "mallinfo2", None)
if _mallinfo is not None:
    _mallinfo.restype = _Mallinfo


def heap():
    """Bytes that the C library has handed out; 0 where it does not say."""
    info = _mallinfo() if _mallinfo is not None else _Mallinfo()
    return info.uordblks + info.hblkhd


def measure(into, watched):
    """Fills `into`, which takes no memory itself."""
    scripted.reset()
    gc.collect()
    into[0] = scripted.handed_out()
    into[1] = scripted.allocations()
    into[2] = len(os.listdir("/proc/self/fd"))
    into[3] = len(os.listdir("/proc/self/task"))
    into[4] = sys.getallocatedblocks()
    into[5] = getattr(sys, "gettotalrefcount", int)()
    into[6] = heap() // SMALLEST
    for i, item in enumerate(watched):
        into[i + 7] = sys.getrefcount(item)


def growth(way, watched):
    """How much more there is after CALLS calls, by what `measure` looks at."""
    before, after = [array.array("q", [0] * (len(watched) + 7)) for _ in range(2)]
    function = getattr(pyquelt, way.function)
    measure(before, watched)
    for i in range(CALLS):
        if i % 50 == 0:
            sweep.set_answers(way)
        sweep.outcome(function, way)
    measure(after, watched)
    return [now - then for then, now in zip(before, after)]


class LeakTest(scripted.ScriptedTestCase):

    made_with_lock = None

    def test_call_holds_something_when_it_is_over(self):
        ways = list(sweep.all_ways(pyquelt))
        ways += [way for way in (sweep.Way(*row[:4]) for row in fault_rows.all_rows())
                 if way not in ways]
        for way in ways:
            watched = list(way.args) + list(way.kwargs.values()) + [None, True, False]
            with self.subTest(way.function, answers=way.answers):
                for _ in range(4):  # what is made once does not come again
                    grown = growth(way, watched)
                    if grown[:4] == [0] * 4 and max(map(abs, grown)) < CALLS // 2:
                        break
                else:
                    self.fail(grown)
        deep.figure("{} ways, {} calls of each: nothing is held", len(ways), CALLS)


if __name__ == "__main__":
    unittest.main()
