"""Stage: how GetUnicastAgents grows with the number of agents, and the memory that it takes."""

import ctypes
import gc
import sys

import rounds

SIZES = ((10, 201), (100, 201), (1000, 101), (10000, 21), (100000, 9), (1000000, 3))
MEMORY_AT = 100000


def list_agents(count):
    ctypes.CDLL("libquelt.so").memory_host_agents(ctypes.c_size_t(count))


def growth():
    import plain_peer
    import raw_loops
    import pyquelt
    points = []
    for size, count in SIZES:
        list_agents(size)
        calls = max(1, 2000 // size)

        def sampler(function):
            def sample():
                gc.collect()
                return rounds.seconds_per_call(function, (), calls)
            return sample
        samples = rounds.interleaved({
            "pyquelt": sampler(pyquelt.GetUnicastAgents),
            "plain": sampler(plain_peer.GetUnicastAgents),
            "raw C++": lambda: raw_loops.raw_loop("GetUnicastAgents", calls)},
            count, "GetUnicastAgents of %d" % size)
        points.append({"agents": size, "ratio": rounds.ratio(samples, "pyquelt", "plain"),
                       "seconds": {name: rounds.summary(values)["median"]
                                   for name, values in samples.items()}})
    return points


def status(field):
    """KiB of this process."""
    with open("/proc/self/status") as lines:
        return next(int(line.split()[1]) for line in lines if line.startswith(field + ":"))


def memory(binding):
    """MiB that one call takes at its highest, its result included, above what was there before."""
    function = __import__(binding).GetUnicastAgents
    list_agents(10)
    function()
    list_agents(MEMORY_AT)
    gc.collect()
    before = status("VmRSS")
    with open("/proc/self/clear_refs", "w") as reset:
        reset.write("5")
    result = function()
    peak = status("VmHWM") - before
    del result
    return peak / 1024


if __name__ == "__main__":
    rounds.answer(growth() if sys.argv[1] == "growth" else memory(sys.argv[1]))
