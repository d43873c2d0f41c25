"""Interleaved measurements: each round runs all candidates in random order, so that changes of the
machine's speed affect all of them. Only ratios within one run are meaningful.
"""

import itertools
import json
import random
import statistics
import sys
import time

SAMPLE_SECONDS = 0.002


def loop_of(arity):
    """Returns a loop whose calls pass separate arguments, as a script does."""
    names = ", ".join("a%d" % i for i in range(arity))
    code = ("def loop(function, turns, %s):\n    for _ in turns:\n        function(%s)\n"
            % (names, names))
    scope = {}
    exec(code, scope)
    return scope["loop"]


def seconds_per_call(function, arguments, calls):
    """Returns the processor time of one call, including the release of its result."""
    loop = loop_of(len(arguments))
    turns = itertools.repeat(None, calls)
    start = time.process_time_ns()
    loop(function, turns, *arguments)
    return (time.process_time_ns() - start) / calls / 1e9


def calls_for(function, arguments):
    """Returns the number of calls that take SAMPLE_SECONDS."""
    calls = 1
    while True:
        spent = seconds_per_call(function, arguments, calls) * calls
        if spent > SAMPLE_SECONDS / 4:
            return max(1, round(calls * SAMPLE_SECONDS / spent))
        calls *= 4


def interleaved(samplers, rounds, label):
    """Runs {name: function that returns seconds per call}; returns {name: [one per round]}."""
    samples = {name: [] for name in samplers}
    order = list(samplers)
    for done in range(rounds):
        progress("%s: round %d of %d" % (label, done + 1, rounds))
        random.shuffle(order)
        for name in order:
            samples[name].append(samplers[name]())
    return samples


def summary(values):
    """Returns the median and the quartiles."""
    low, middle, high = statistics.quantiles(values, n=4)
    return {"median": middle, "low": low, "high": high}


def ratio(samples, name, base):
    """Returns the summary of the rounds' ratios of `name` to `base`."""
    return summary([left / right for left, right in zip(samples[name], samples[base])])


def progress(text):
    """Shows a progress line if standard error is a terminal."""
    if sys.stderr.isatty():
        sys.stderr.write("\r\033[K" + text)
        sys.stderr.flush()


def write_figures(figures):
    """Passes a stage's figures to bench.py."""
    progress("")
    json.dump(figures, sys.stdout)
