"""Counts instructions per call with callgrind, and compares them with the committed counts.

    counts.py check BUILD | update BUILD     compares with counts.json, or writes it

Counts are comparable only for the same interpreter and compiler; counts.json names both.
"""

import glob
import json
import os
import platform
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
COMMITTED = os.path.join(HERE, "counts.json")
GROWTH = 1.03


def callgrind(arguments, environment):
    """Runs counting.py; returns {mark: instructions}. The last run of a mark is used."""
    with tempfile.TemporaryDirectory() as folder:
        command = ["valgrind", "--tool=callgrind", "--instr-atstart=no", "-q",
                   "--callgrind-out-file=%s/out" % folder, sys.executable, "-s",
                   os.path.join(HERE, "counting.py")]
        subprocess.run(command + arguments, env=dict(environment, PYTHONHASHSEED="0"), check=True,
                       stderr=subprocess.PIPE)
        counted = {}
        dumps = glob.glob(folder + "/out.*")
        for dump in sorted(dumps, key=lambda name: int(name.rpartition(".")[2])):
            with open(dump) as file:
                text = file.read()
            mark = re.search(r"^desc: Trigger: Client Request: (.*)$", text, re.M)
            total = re.search(r"^(?:summary|totals): (\d+)", text, re.M)
            if mark and total:
                counted[mark.group(1)] = int(total.group(1))
        return counted


def per_call(bindings, environment):
    """Returns {row: {binding: instructions per call}}, from runs of two lengths."""
    runs = {}
    for mark, total in callgrind(["calls", ",".join(bindings)], environment).items():
        row, binding, calls = mark.split("|")
        runs.setdefault((row, binding), []).append((int(calls), total))
    rows = {}
    for (row, binding), ((few, short), (many, long)) in runs.items():
        rows.setdefault(row, {})[binding.replace("_peer", "")] = (long - short) / (many - few)
    return rows


def import_counts(modules, environment):
    return {module: callgrind(["import", module], environment)[module] for module in modules}


def environment_of(build):
    """Returns the environment for that build's module on the memory host."""
    bench = os.path.join(build, "bench")
    return dict(os.environ, LD_LIBRARY_PATH=os.path.join(bench, "memory_host"),
                PYTHONPATH=":".join((os.path.join(build, "python"), bench, HERE,
                                     os.path.join(HERE, "peers"))),
                PYTHONDONTWRITEBYTECODE="1",
                PYQUELT_C_OPERATIONS=os.path.join(bench, "libc_operations.so"))


def compiler(build):
    """Returns the C++ compiler that CMake found."""
    name, = glob.glob(os.path.join(build, "CMakeFiles", "*", "CMakeCXXCompiler.cmake"))
    with open(name) as file:
        found = dict(re.findall(r'^set\(CMAKE_CXX_COMPILER_(\w+) "(.*)"\)$', file.read(), re.M))
    return found["ID"] + " " + found["VERSION"]


def interpreter():
    return "%s %s, built by %s" % (os.path.realpath(sys.executable), platform.python_version(),
                                   platform.python_compiler())


def check(build, update):
    here = {"interpreter": interpreter(), "compiler": compiler(build)}
    if not update:
        with open(COMMITTED) as file:
            committed = json.load(file)
        for part, value in here.items():
            if committed[part] != value:
                print("Not compared: counts.json is for %s, this is %s" % (committed[part], value))
                return True
    counted = {row: round(figures["pyquelt"])
               for row, figures in per_call(["pyquelt"], environment_of(build)).items()}
    if update:
        with open(COMMITTED, "w") as file:
            json.dump(dict(here, instructions=counted), file, indent=2)
            file.write("\n")
    before = counted if update else committed["instructions"]
    print("Instructions per call, %s\n" % here["interpreter"])
    passed = set(before) == set(counted)
    for row, count in counted.items():
        fits = row in before and count <= GROWTH * before[row]
        passed = passed and fits
        print("%-26s %9d   before %9d   %s" % (
            row, count, before.get(row, 0), "ok" if fits else "GREW by more than 3 %"))
    return passed


if __name__ == "__main__":
    sys.exit(0 if check(sys.argv[2], sys.argv[1] == "update") else
             "bench: fix what got slower, or accept it with ./run bench --counts --update")
