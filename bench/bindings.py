"""Stage: times the module and its peers on the memory host."""

import ctypes
import gc
import importlib

import rounds

BINDINGS = ("pyquelt", "plain_peer", "pybind11_peer", "nanobind_peer", "cython_peer", "cffi_peer",
            "ctypes_peer")
# A script that reads a status contains its keys as constants, which makes interning them cheaper.
# All bindings profit from that.
SCRIPT_CONSTANTS = ("good", "reason")
DEK, BLOCK = bytes(range(64)), bytes(2048)
# Name of the row, function, arguments, number of agents, rounds.
ROWS = (
    ("GetHardwareSku", "GetHardwareSku", (), 0, 201),
    ("SetIloAuth", "SetIloAuth", ("administrator", "a password"), 0, 201),
    ("CheckKmsStatus", "CheckKmsStatus", ("cluster-1", "key-1", 10), 0, 201),
    ("Decrypt2kBlock", "Decrypt2kBlock", (DEK, 7, BLOCK), 0, 201),
    ("GetUnicastAgents, 1,000", "GetUnicastAgents", (), 1000, 101),
    ("GetUnicastAgents, 100,000", "GetUnicastAgents", (), 100000, 11),
)


def load():
    """Returns the bindings that were built, by name."""
    loaded = {}
    for name in BINDINGS:
        try:
            loaded[name.replace("_peer", "")] = importlib.import_module(name)
        except ImportError:
            if name in BINDINGS[:2]:
                raise
    return loaded


def sampler(function, arguments, collects):
    calls = 1 if collects else rounds.calls_for(function, arguments)

    def sample():
        if collects:
            gc.collect()
        return rounds.seconds_per_call(function, arguments, calls)
    return sample


def measure(row, bindings):
    name, function, arguments, agents, count = row
    ctypes.CDLL("libquelt.so").memory_host_agents(ctypes.c_size_t(agents))
    functions = {binding: getattr(module, function) for binding, module in bindings.items()
                 if hasattr(module, function)}
    expected = functions["plain"](*arguments)
    for binding, function_of in functions.items():
        assert function_of(*arguments) == expected, (name, binding)
    samplers = {binding: sampler(function_of, arguments, agents > 10000)
                for binding, function_of in functions.items()}
    import raw_loops
    raw_calls = max(1, 2000 // max(1, agents))
    samplers["raw C++"] = lambda: raw_loops.raw_loop(function, raw_calls)
    del expected
    samples = rounds.interleaved(samplers, count, name)
    figures = {binding: dict(rounds.summary(values), ratio=rounds.ratio(samples, binding, "plain"),
                             module_ratio=rounds.ratio(samples, "pyquelt", binding))
               for binding, values in samples.items()}
    return {"name": name, "rounds": count, "bindings": figures}


if __name__ == "__main__":
    modules = load()
    rounds.write_figures([measure(row, modules) for row in ROWS])
