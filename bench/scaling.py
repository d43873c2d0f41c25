"""Stage: times calls on the embedded host with one thread and with two, and the same decryption in
C++. Its other functions make the part of the page and the goals from these figures."""

import itertools
import os
import platform
import sys
import threading
import time

import rounds

ROUNDS, NATIVE = 51, "Decrypt2kBlock, C++ alone"
DISK = "naa.58ce38ee20a1c002"  # of the default scenario


def block_arguments():
    return os.urandom(64), 7, os.urandom(2048)


def measured_rows():
    """Each row: name, function, a function that returns new arguments for each thread, calls in a
    round."""
    import pyquelt
    return (("Decrypt2kBlock", pyquelt.Decrypt2kBlock, block_arguments, 20000),
            ("GetEncInfoForDisk", pyquelt.GetEncInfoForDisk, lambda: (DISK,), 1000),
            ("GetUnicastAgents", pyquelt.GetUnicastAgents, tuple, 500))


def wall_seconds(function, make_arguments, calls, threads):
    """Returns the wall time per call of `calls` calls, divided among `threads` threads."""
    workers = []
    for _ in range(threads):
        arguments = make_arguments()
        turns = itertools.repeat(None, calls // threads)
        workers.append(threading.Thread(target=rounds.loop_of(len(arguments)),
                                        args=(function, turns) + arguments))
    start = time.perf_counter()
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    return (time.perf_counter() - start) / calls


def main():
    import plain_crypto
    samplers = {}
    for threads in (1, 2):
        for name, *measured in measured_rows():
            samplers[name, threads] = lambda given=(*measured, threads): wall_seconds(*given)
        samplers[NATIVE, threads] = lambda threads=threads: plain_crypto.raw_threads(threads, 20000)
    samples = rounds.interleaved(samplers, ROUNDS, "threads")
    has_gil = getattr(sys, "_is_gil_enabled", lambda: True)()
    rounds.write_figures({
        "build": platform.python_version() + ("" if has_gil else ", free-threaded"),
        "has gil": has_gil,
        "calls": {name: {"one": rounds.summary(samples[name, 1])["median"],
                         "two": rounds.summary(samples[name, 2])["median"],
                         "gain": rounds.ratio(samples, (name, 1), (name, 2))["median"]}
                  for name, threads in samplers if threads == 1}})


def gains(builds):
    """Yields (CPython build, share) for each free-threaded build: how much of the gain that C++ has
    from its second thread Decrypt2kBlock has."""
    for figures in builds:
        if not figures["has gil"]:
            calls = figures["calls"]
            yield figures["build"], calls["Decrypt2kBlock"]["gain"] / calls[NATIVE]["gain"]


def rows(builds, time_text):
    """Returns the heads and the rows of the page's table."""
    return ["CPython", "call", "1 thread", "2 threads", "gain"], [
        [figures["build"], name, time_text(call["one"]), time_text(call["two"]),
         "%.2f" % call["gain"]] for figures in builds for name, call in figures["calls"].items()]


if __name__ == "__main__":
    main()
