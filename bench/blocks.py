"""Stage: times Decrypt2kBlock on the embedded host, with one thread and with two."""

import os
import threading
import time

import rounds

CALLS, ROUNDS, THREAD_CALLS, THREAD_ROUNDS = 1500, 201, 20000, 101


def call_times(function, dek, block, calls):
    for position in range(calls):
        function(dek, position, block)


def wall_seconds(function, dek, block, threads):
    """Returns seconds per block for THREAD_CALLS blocks, divided among `threads` threads."""
    share = (function, dek, block, THREAD_CALLS // threads)
    workers = [threading.Thread(target=call_times, args=share) for _ in range(threads)]
    start = time.perf_counter()
    for thread in workers:
        thread.start()
    for thread in workers:
        thread.join()
    return (time.perf_counter() - start) / THREAD_CALLS


def main():
    import plain_crypto
    import pyquelt
    dek, block = os.urandom(64), os.urandom(2048)
    functions = {"pyquelt": pyquelt.Decrypt2kBlock, "plain": plain_crypto.Decrypt2kBlock}
    assert functions["pyquelt"](dek, 5, block) == functions["plain"](dek, 5, block)
    samplers = {name: lambda function=function: rounds.seconds_per_call(
        function, (dek, 7, block), CALLS) for name, function in functions.items()}
    samplers["raw OpenSSL"] = lambda: plain_crypto.raw_loop(CALLS)
    samples = rounds.interleaved(samplers, ROUNDS, "blocks")
    threaded = rounds.interleaved({
        "%s, %d" % (name, threads): lambda function=function, threads=threads: wall_seconds(
            function, dek, block, threads)
        for name, function in functions.items() for threads in (1, 2)},
        THREAD_ROUNDS, "blocks by threads")
    rounds.write_figures({
        "calls": {name: rounds.summary(values) for name, values in samples.items()},
        "ratio": rounds.ratio(samples, "pyquelt", "plain"),
        "threads": {name: rounds.summary(values) for name, values in threaded.items()},
        "two threads": rounds.ratio(threaded, "pyquelt, 2", "plain, 2")})


if __name__ == "__main__":
    main()
