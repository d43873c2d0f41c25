"""Runs under callgrind, started by counts.py: marks loops of calls, or one import.

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

# Number of calls in the short and in the long run of a row, by its number of agents.
RUNS = {0: (100, 600), 1000: (1, 3)}


def runner(binding, function, arguments):
    """Returns a callable that calls the function n times; None if the binding lacks it."""
    if binding == "raw C++":
        raw_loop = importlib.import_module("raw_loops").raw_loop
        return lambda runs: raw_loop(function, runs)
    call = getattr(importlib.import_module(binding), function, None)
    loop = rounds.loop_of(len(arguments))
    return call and (lambda runs: loop(call, itertools.repeat(None, runs), *arguments))


def count_calls(names):
    gc.disable()  # when it runs depends on unrelated objects
    filled = [bytes(2048) for _ in range(2000)]  # fills gaps in the heap, where blocks cost more
    for name, function, arguments, agents, _ in bindings.ROWS:
        if agents not in RUNS:
            continue
        ctypes.CDLL("libquelt.so").memory_host_agents(ctypes.c_size_t(agents))
        for binding in names:
            run = runner(binding, function, arguments)
            if run is None:
                continue
            for runs in (RUNS[agents][0],) + RUNS[agents]:  # the first run warms up
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
