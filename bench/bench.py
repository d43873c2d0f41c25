"""Runs the stages of the benchmark and writes docs/performance.md and docs/performance.svg.

    bench.py BUILD EMBEDDED_LIBRARY_FOLDER DOCS NEWEST_PYTHON NEWEST_BUILD FREE_PYTHON FREE_BUILD

The calls are also measured with NEWEST_PYTHON and its build, two threads also with FREE_PYTHON, a
free-threaded interpreter, and its build. Each may be "".
"""

import datetime
import importlib.metadata
import json
import os
import platform
import re
import subprocess
import sys
import tempfile

import chart
import counts
import goals
import report
import rounds


def stage(script, *arguments, environment, python=sys.executable):
    """Runs a stage in its own process and returns its figures."""
    command = [python, os.path.join(counts.HERE, script)] + list(arguments)
    return json.loads(subprocess.run(command, env=environment, check=True,
                                     stdout=subprocess.PIPE).stdout.decode())


def processor():
    with open("/proc/cpuinfo") as lines:
        names = re.findall(r"^model name\s*: (.*)$", lines.read(), re.M)
    return "%s, %d cores" % (names[0] if names else "unknown processor", os.cpu_count())


def versions(build):
    found = ["CPython %s built by %s" % (platform.python_version(), platform.python_compiler()),
             "the rest by " + counts.compiler(build)]
    for package in ("pybind11", "nanobind", "Cython", "cffi"):
        try:
            found.append("%s %s" % (package, importlib.metadata.version(package)))
        except importlib.metadata.PackageNotFoundError:
            found.append("no " + package)
    openssl = subprocess.run(["openssl", "version"], stdout=subprocess.PIPE, check=True)
    return found + [" ".join(openssl.stdout.decode().split()[:2])]


def openssl_speed():
    result = subprocess.run(
        ["openssl", "speed", "-seconds", "1", "-bytes", "2048", "-decrypt", "-evp", "aes-256-xts"],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout.decode()
    rate = re.search(r"([\d.]+)k\s*$", result)
    return "`openssl speed` decrypts a block of 2048 bytes in %.0f ns, the key set once" % (
        2048 / (float(rate.group(1)) * 1000) * 1e9)


def measure(build, embedded_folder, free_threaded):
    memory = counts.environment_of(build)
    embedded = dict(memory, LD_LIBRARY_PATH=embedded_folder)
    peers = [name for name in json.loads(subprocess.run(
        [sys.executable, "-c", "import json, bindings; print(json.dumps(list(bindings.load())))"],
        env=memory, check=True, stdout=subprocess.PIPE).stdout.decode())]
    figures = {"date": datetime.date.today().isoformat(), "processor": processor(),
               "versions": versions(build)}
    figures["bindings"] = stage("bindings.py", environment=memory)
    rounds.progress("counting instructions")
    figures["counts"] = counts.per_call(
        [name if name == "pyquelt" else name + "_peer" for name in peers] + ["raw C++"], memory)
    figures["growth"] = stage("listing.py", "growth", environment=memory)
    figures["memory"] = {name: stage("listing.py", name, environment=memory)
                         for name in ("pyquelt", "plain_peer")}
    with tempfile.TemporaryDirectory() as folder:
        embedded["QUELT_HOST_STATE"] = os.path.join(folder, "host.db")
        figures["blocks"] = stage("blocks.py", environment=embedded)
        figures["scaling"] = [
            stage("scaling.py", python=python, environment=dict(
                embedded, PYTHONPATH=counts.environment_of(its_build)["PYTHONPATH"]))
            for python, its_build in ((sys.executable, build), free_threaded) if python]
        rounds.progress("the embedded host's store")
        figures["store"] = json.loads(subprocess.run(
            [os.path.join(build, "bin", "store_bench"), os.path.join(folder, "store.db")],
            check=True, stdout=subprocess.PIPE).stdout.decode())
        rounds.progress("imports")
        figures["import"] = counts.import_counts(("pyquelt", "empty"), embedded)
    figures["openssl"] = openssl_speed()
    rounds.progress("")
    return figures


def newest(python, build):
    """Returns the figures of the calls with another interpreter."""
    version = subprocess.run([python, "-c", "import platform; print(platform.python_version())"],
                             check=True, stdout=subprocess.PIPE).stdout.decode().strip()
    return {"version": version, "bindings": stage(
        "bindings.py", environment=counts.environment_of(build), python=python)}


def main(build, embedded_folder, docs, *others):
    other, free_threaded = others[:2], others[2:]
    figures = measure(build, embedded_folder, free_threaded)
    if other[0]:
        figures["newest"] = newest(*other)
    with open(os.path.join(build, "figures.json"), "w") as file:
        json.dump(figures, file, indent=1)
    with open(os.path.join(docs, "performance.md"), "w") as file:
        file.write(report.page(figures))
    with open(os.path.join(docs, "performance.svg"), "w") as file:
        file.write(chart.chart(figures["bindings"]))
    for rows in [figures["bindings"]] + [figures["newest"]["bindings"]] * bool(other[0]):
        print("\n".join(report.bindings_table(rows)))
    for goal, figure, verdict, reason in goals.Goals(figures).list:
        print("%-8s %6s  %s%s" % (verdict, figure, goal, "; " + reason if reason else ""))


if __name__ == "__main__":
    main(*sys.argv[1:])
