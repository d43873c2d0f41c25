"""Runs under callgrind: marks loops of calls, or one import, for counts.py to read.

    counting.py calls BINDING[,BINDING…]     counting.py import MODULE
"""

import ctypes
import gc
import importlib
import itertools
import sys

import bindings
import counter
import rounds

# Calls in the shorter and in the longer run of a row, by the agents listed.
RUNS = {0: (100, 600), 1000: (1, 3)}


def count_calls(names):
    gc.disable()  # its moments depend on what else is alive
    for name, function, arguments, agents, _ in bindings.ROWS:
        if agents not in RUNS:
            continue
        ctypes.CDLL("libquelt.so").memory_host_agents(ctypes.c_size_t(agents))
        for binding in names:
            call = getattr(importlib.import_module(binding), function, None)
            if call is None:
                continue
            loop = rounds.loop_of(len(arguments))
            for runs in (RUNS[agents][0],) + RUNS[agents]:  # the first one warms up
                turns = itertools.repeat(None, runs)
                counter.start()
                loop(call, turns, *arguments)
                counter.stop("%s|%s|%d" % (name, binding, runs))


def count_import(name):
    counter.start()
    importlib.import_module(name)
    counter.stop(name)


if __name__ == "__main__":
    if sys.argv[1] == "import":
        count_import(sys.argv[2])
    else:
        count_calls(sys.argv[2].split(","))
