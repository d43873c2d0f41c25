"""Stage: Decrypt2kBlock with the embedded host's cryptography, on one thread and on two."""

import os
import threading
import time

import rounds

CALLS, ROUNDS, THREAD_CALLS, THREAD_ROUNDS = 1500, 201, 20000, 101


def call_times(function, dek, block, calls):
    for position in range(calls):
        function(dek, position, block)


def wall_seconds(function, dek, block, threads):
    """Seconds per block of THREAD_CALLS blocks, shared by so many threads."""
    share = (function, dek, block, THREAD_CALLS // threads)
    crew = [threading.Thread(target=call_times, args=share) for _ in range(threads)]
    start = time.perf_counter()
    for thread in crew:
        thread.start()
    for thread in crew:
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
    rounds.answer({
        "calls": {name: rounds.summary(values) for name, values in samples.items()},
        "ratio": rounds.ratio(samples, "pyquelt", "plain"),
        "threads": {name: rounds.summary(values) for name, values in threaded.items()},
        "two threads": {name: rounds.ratio(threaded, name + ", 2", name + ", 1")
                        for name in functions}})


if __name__ == "__main__":
    main()
