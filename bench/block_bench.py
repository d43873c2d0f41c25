"""Decrypt2kBlock on the embedded host against plain extension code.

    block_bench.py BUILD_FOLDER

Processor times, interleaved in one run, since the machine's speed changes: only their ratio means
anything.
"""

import os
import statistics
import sys
import tempfile
import time

CALLS, ROUNDS = 2000, 301


def per_call(function, dek, block):
    start = time.process_time()
    for position in range(CALLS):
        function(dek, position, block)
    return (time.process_time() - start) / CALLS


def main(build):
    sys.path[:0] = [os.path.join(build, "python"), os.path.join(build, "bench")]
    with tempfile.TemporaryDirectory() as folder:
        os.environ["QUELT_HOST_STATE"] = os.path.join(folder, "host.db")
        import plain_crypto
        import pyquelt
        dek, block = os.urandom(64), os.urandom(2048)
        functions = (pyquelt.Decrypt2kBlock, plain_crypto.Decrypt2kBlock)
        assert functions[0](dek, 5, block) == functions[1](dek, 5, block)
        samples = [[], [], []]
        for _ in range(ROUNDS):
            for function, times in zip(functions, samples):
                times.append(per_call(function, dek, block))
            samples[2].append(plain_crypto.RawLoop(CALLS) / CALLS)
        module, plain, raw = (statistics.median(times) * 1e9 for times in samples)
        ratio = statistics.median(left / right for left, right in zip(*samples[:2]))
    print("Decrypt2kBlock: module %.0f ns, plain %.0f ns, ratio %.3f; raw loop %.0f ns"
          % (module, plain, ratio, raw))


if __name__ == "__main__":
    main(sys.argv[1])
