"""Checks an installed pyquelt. ./run package runs this file where pyquelt is installed, with
python3 and quelt-host on the PATH. Arguments: the expected version, and the folder that contains
docs/ and examples/."""

import importlib.util
import os
import shutil
import subprocess
import sys
import tempfile

VERSION, SOURCE = sys.argv[1:]
TOOL = shutil.which("quelt-host")
FIXTURE_TEST = """
def test_host(quelt_host):
    assert quelt_host.dump()["hardwareSku"] == "QS-2240-AF"
"""


def run(*command, **environment):
    """Returns the exit status and the output of a command."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               universal_newlines=True, env=dict(os.environ, **environment))
    output = process.communicate()[0]
    return process.returncode, output


def check(got, expected):
    if got != expected:
        sys.exit("got {!r} instead of {!r}".format(got, expected))


def check_module():
    code = "import pyquelt; print(pyquelt.GetHardwareSku())"
    check(run("python3", "-W", "ignore", "-c", code), (0, "QS-2240-AF\n"))
    status, output = run("python3", os.path.join(SOURCE, "examples", "tour.py"))
    check((status, output if status else ""), (0, ""))


def check_library_can_be_replaced(folder):
    """Copies the installed libquelt.so and checks that the copy is used if its folder is on
    LD_LIBRARY_PATH."""
    code = ("import pyquelt\n"
            "with open('/proc/self/maps') as maps:\n"
            "    print(*{line.split()[-1] for line in maps if 'libquelt' in line})")
    installed = run("python3", "-W", "ignore", "-c", code)[1].strip()
    other = os.path.join(folder, "libquelt.so")
    shutil.copy(installed, other)
    loaded = run("python3", "-W", "ignore", "-c", code, LD_LIBRARY_PATH=folder)[1].strip()
    check(loaded, other)


def check_tool():
    check(run(TOOL, "--version"), (0, "quelt-host {}\n".format(VERSION)))
    with open(TOOL, "rb") as file:  # not a wrapper, which would receive the signals
        check(file.read(4), b"\x7fELF")
    check(run(TOOL, "run", "sh", "-c", "exit 7")[0], 7)
    process = subprocess.Popen([TOOL, "run", "sh", "-c", "echo started; exec sleep 60"],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    process.stdout.readline()
    process.terminate()
    process.stdout.close()
    check(process.wait(), 128 + 15)


def check_test_helper(folder):
    """Checks the context manager and, if pytest is installed, the fixture, which scripts may or may
    not name in conftest.py."""
    check(run("python3", "-W", "ignore", "-c",
              "import quelt_testing; quelt_testing.Host().__enter__()"), (0, ""))
    if not importlib.util.find_spec("pytest"):
        return
    for name, text in (("test_host.py", FIXTURE_TEST), ("conftest.py", ""),
                       ("conftest.py", "pytest_plugins = 'quelt_testing'\n")):
        with open(os.path.join(folder, name), "w") as file:
            file.write(text)
        if name == "conftest.py":
            status, output = run("python3", "-m", "pytest", "-q", "-p", "no:cacheprovider", folder)
            check((status, output if status else ""), (0, ""))


def main():
    folder = tempfile.mkdtemp()
    try:
        os.chdir(folder)
        os.environ.update(PYTHONDONTWRITEBYTECODE="1",
                          QUELT_HOST_STATE=os.path.join(folder, "state", "host.db"))
        check_module()
        check_library_can_be_replaced(folder)
        check_tool()
        check_test_helper(folder)
        check(os.path.isfile(os.path.join(SOURCE, "docs", "scenario.schema.json")), True)
    finally:
        shutil.rmtree(folder)


main()
