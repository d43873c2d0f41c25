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


def runner(binding, function, arguments):
    """Calls the function so many times; None where the binding has no such function."""
    if binding == "raw C++":
        raw_loop = importlib.import_module("raw_loops").raw_loop
        return lambda runs: raw_loop(function, runs)
    call = getattr(importlib.import_module(binding), function, None)
    loop = rounds.loop_of(len(arguments))
    return call and (lambda runs: loop(call, itertools.repeat(None, runs), *arguments))


def count_calls(names):
    gc.disable()  # its moments depend on what else is alive
    filled = [bytes(2048) for _ in range(2000)]  # no holes left: in a hole a block costs more
    for name, function, arguments, agents, _ in bindings.ROWS:
        if agents not in RUNS:
            continue
        ctypes.CDLL("libquelt.so").memory_host_agents(ctypes.c_size_t(agents))
        for binding in names:
            run = runner(binding, function, arguments)
            if run is None:
                continue
            for runs in (RUNS[agents][0],) + RUNS[agents]:  # the first one warms up
                counter.start()
                run(runs)
                counter.stop("%s|%s|%d" % (name, binding, runs))
    del filled


def count_import(name):
    counter.start()
    importlib.import_module(name)
    counter.stop(name)


if __name__ == "__main__":
    if sys.argv[1] == "import":
        count_import(sys.argv[2])
    else:
        count_calls(sys.argv[2].split(","))
