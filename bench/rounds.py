"""Interleaved measuring: everything compared takes its turn in each round, in random order, so that
the machine's changes of speed strike all alike. Only ratios within one run mean anything.
"""

import itertools
import json
import random
import statistics
import sys
import time

SAMPLE_SECONDS = 0.002


def loop_of(arity):
    """A loop that calls as a script does: with its arguments one by one."""
    names = ", ".join("a%d" % i for i in range(arity))
    code = ("def loop(function, turns, %s):\n    for _ in turns:\n        function(%s)\n"
            % (names, names))
    scope = {}
    exec(code, scope)
    return scope["loop"]


def seconds_per_call(function, arguments, calls):
    """Processor time of one call, the release of its result included."""
    loop = loop_of(len(arguments))
    turns = itertools.repeat(None, calls)
    start = time.process_time_ns()
    loop(function, turns, *arguments)
    return (time.process_time_ns() - start) / calls / 1e9


def calls_for(function, arguments):
    """How many calls make a sample of SAMPLE_SECONDS."""
    calls = 1
    while True:
        spent = seconds_per_call(function, arguments, calls) * calls
        if spent > SAMPLE_SECONDS / 4:
            return max(1, round(calls * SAMPLE_SECONDS / spent))
        calls *= 4


def interleaved(samplers, rounds, label):
    """{name: function giving seconds per call} -> {name: [seconds per call, one a round]}."""
    samples = {name: [] for name in samplers}
    order = list(samplers)
    for done in range(rounds):
        progress("%s: round %d of %d" % (label, done + 1, rounds))
        random.shuffle(order)
        for name in order:
            samples[name].append(samplers[name]())
    return samples


def summary(values):
    """The median, and the middle half's width in parts of it."""
    if len(values) < 3:
        return {"median": statistics.median(values), "spread": 0.0}
    low, middle, high = statistics.quantiles(values, n=4)
    return {"median": middle, "spread": (high - low) / middle}


def ratio(samples, name, base):
    """How much longer `name` takes than `base`, round by round."""
    return summary([left / right for left, right in zip(samples[name], samples[base])])


def progress(text):
    """A line for whoever watches; nothing where nobody does."""
    if sys.stderr.isatty():
        sys.stderr.write("\r\033[K" + text)
        sys.stderr.flush()


def answer(figures):
    """What a stage hands back to bench.py."""
    progress("")
    json.dump(figures, sys.stdout)
