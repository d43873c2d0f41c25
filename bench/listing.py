"""Stage: measures time and memory of GetUnicastAgents by the number of agents."""

import ctypes
import gc
import sys

import rounds

SIZES = ((10, 201), (100, 201), (1000, 101), (10000, 21), (100000, 9), (1000000, 3))
MEMORY_AT = 100000


def set_agents(count):
    ctypes.CDLL("libquelt.so").memory_host_agents(ctypes.c_size_t(count))


def growth():
    import plain_peer
    import raw_loops
    import pyquelt
    points = []
    for size, count in SIZES:
        set_agents(size)
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
    """Returns a memory figure of this process in KiB."""
    with open("/proc/self/status") as lines:
        return next(int(line.split()[1]) for line in lines if line.startswith(field + ":"))


def memory(binding):
    """Returns the peak memory of one call in MiB, including its result."""
    function = __import__(binding).GetUnicastAgents
    set_agents(10)
    function()
    set_agents(MEMORY_AT)
    gc.collect()
    before = status("VmRSS")
    with open("/proc/self/clear_refs", "w") as reset:
        reset.write("5")
    result = function()
    peak = status("VmHWM") - before
    del result
    return peak / 1024


if __name__ == "__main__":
    rounds.write_figures(growth() if sys.argv[1] == "growth" else memory(sys.argv[1]))
