"""Thousands of calls of each function, on its way to success and on each of its failures, hold
nothing that one call does not; nor do calls in which an interpreter call or an allocation fails."""

import array
import ctypes
import gc
import itertools
import os
import sys
import unittest

import deep
import pyquelt
import scripted
import sweep
from fault_build import CALL, MEMORY, NATIVE_MEMORY, attempts, ways

CALLS = deep.full(10000, otherwise=60)
# What one leaking allocation takes at least, in bytes.
SMALLEST = 24
NUMBERS = itertools.count()


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
    gc.collect()  # empties the interpreter's free lists too
    into[0] = scripted.handed_out()
    into[1] = scripted.allocations()
    into[2] = len(os.listdir("/proc/self/fd"))
    into[3] = len(os.listdir("/proc/self/task"))
    into[4] = heap() // SMALLEST
    into[5] = sys.getallocatedblocks()
    into[6] = getattr(sys, "gettotalrefcount", int)()
    for i, item in enumerate(watched):
        into[i + 7] = sys.getrefcount(item)


class LeakTest(scripted.ScriptedTestCase):

    made_with_lock = None

    def growth(self, way, run, limit, first):
        """None if running leaves nothing of the host, and less than `limit` of what `measure` looks
        at from `first` on. Otherwise what it leaves."""
        watched = list(way.args) + list(way.kwargs.values()) + [None, True, False]
        for _ in range(4):  # what is made once does not come again; a leak does
            before, after = [array.array("q", [0] * (len(watched) + 7)) for _ in range(2)]
            measure(before, watched)
            run(way)
            measure(after, watched)
            grown = [now - then for then, now in zip(before, after)]
            if grown[:4] == [0] * 4 and max(map(abs, grown[first:])) < limit:
                return None
        return way.function, way.answers, grown

    def test_call_holds_something_when_it_is_over(self):
        def run(way):
            function = getattr(pyquelt, way.function)
            for i in range(CALLS):
                fresh = sweep.renewed(way, next(NUMBERS))
                if i % 50 == 0 or fresh.answers != way.answers:
                    sweep.set_answers(fresh)
                sweep.outcome(function, fresh)

        tried = [way for way, _ in ways()]
        self.assertEqual([grown for grown in (
            self.growth(way, run, CALLS // 2, 4) for way in tried) if grown], [])
        deep.figure("{} ways, {} calls of each: nothing is held", len(tried), CALLS)

    def test_call_in_which_something_fails_holds_something(self):
        rounds = 3
        for kind in (CALL, MEMORY, NATIVE_MEMORY):
            def run(way):
                for _ in range(rounds):
                    for _ in attempts(kind, way):
                        self.assertEqual(scripted.handed_out(), 0)

            self.assertEqual([grown for grown in (
                self.growth(way, run, rounds, 5) for way, _ in ways()) if grown], [], kind)


if __name__ == "__main__":
    unittest.main()
