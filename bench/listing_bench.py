"""GetUnicastAgents against plain extension code, on a host that answers from memory.

    listing_bench.py BUILD_FOLDER

Times are interleaved in one run, since the machine's speed changes: only their ratio means
anything. Memory is measured in a process of its own for each figure.
"""

import ctypes
import gc
import json
import os
import statistics
import subprocess
import sys
import time

RECORD = {
    "uuid": "5f0c2a31-8d44-4b7e-9c15-", "nodeType": 1, "isSupportUnicast": True,
    "address": "192.0.2.11", "port": 12321, "zelnic": "zelnic1", "hostname": "host1.example",
    "thumbprint": "1E:52:7B:09:C4:A8:6D:33:F0:11:80:9D:57:E2:40:C6:1B:AF:39:75",
    "subClusterUuid": "00000000-0000-0000-0000-000000000000"}
SIZES = ((10, 4000), (1000, 300), (100000, 9), (1000000, 3))


def set_agents(count):
    """Lets the host answer with so many agents; asking it for a feature costs a memory read."""
    library = ctypes.CDLL(os.environ["PYQUELT_SCRIPTED_HOST"])
    library.scripted_host_metadata_feature(0)
    answers = [{"out": {"agents": [RECORD]}, "repeat": count}]
    library.scripted_host_answer(b"GetUnicastAgentList", json.dumps(answers).encode())


def timed(function):
    """Seconds for the call and for freeing its result."""
    start = time.perf_counter()
    result = function()
    called = time.perf_counter()
    del result
    return called - start, time.perf_counter() - called


def times(count, rounds):
    import plain_extension
    import pyquelt
    set_agents(count)
    functions = {"module": pyquelt.GetUnicastAgents, "plain": plain_extension.GetUnicastAgents,
                 "fetch": plain_extension.FetchOnly}
    samples = {name: [] for name in functions}
    for _ in range(rounds):
        for name, function in functions.items():
            gc.collect()
            samples[name].append(timed(function)[0])
    return {name: statistics.median(values) for name, values in samples.items()}


def status(field):
    with open("/proc/self/status") as lines:
        for line in lines:
            if line.startswith(field + ":"):
                return int(line.split()[1]) / 1024.0
    return 0.0


def memory(name, count):
    """MiB: the call's highest use above what was there before, and its result."""
    import plain_extension
    import pyquelt
    function = {"module": pyquelt.GetUnicastAgents, "plain": plain_extension.GetUnicastAgents,
                "fetch": plain_extension.FetchOnly}[name]
    set_agents(10)
    function()
    set_agents(count)
    gc.collect()
    before = status("VmRSS")
    with open("/proc/self/clear_refs", "w") as reset:
        reset.write("5")
    result = function()
    peak = status("VmHWM") - before
    ctypes.CDLL(None).malloc_trim(0)
    held = status("VmRSS") - before
    del result
    return peak, held


def main(build):
    environment = dict(
        os.environ, PYTHONPATH=os.path.join(build, "python") + ":" + os.path.join(build, "bench"),
        LD_LIBRARY_PATH=os.path.join(build, "scripted_host"),
        PYQUELT_SCRIPTED_HOST=os.path.join(build, "scripted_host", "libquelt.so"))

    def child(*args):
        command = [sys.executable, os.path.abspath(__file__), "--child"]
        command += [str(arg) for arg in args]
        return json.loads(subprocess.check_output(command, env=environment).decode())

    print("agents     module     plain      ratio   module/agent   native part")
    for count, rounds in SIZES:
        result = child("times", count, rounds)
        print("%-10d %7.3f ms %7.3f ms  %.2f   %7.0f ns      %5.0f ns" % (
            count, result["module"] * 1e3, result["plain"] * 1e3,
            result["module"] / result["plain"], result["module"] / count * 1e9,
            result["fetch"] / count * 1e9), flush=True)
    print("\nMiB at 100000 agents: peak, of that the result")
    for name in ("fetch", "module", "plain"):
        print("%-8s %7.1f %7.1f" % ((name,) + tuple(child("memory", name, 100000))), flush=True)


if __name__ == "__main__":
    if sys.argv[1] == "--child":
        WHAT = sys.argv[2]
        print(json.dumps(times(int(sys.argv[3]), int(sys.argv[4])) if WHAT == "times"
                         else memory(sys.argv[3], int(sys.argv[4]))))
    else:
        main(sys.argv[1])
