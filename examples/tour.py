#!/usr/bin/env python3
"""A tour of pyquelt: each step is shown as the call and its answer.

./run demo runs it on a fresh embedded host. Run by hand, it changes the host that the module finds.
"""

import subprocess
import sys

import pyquelt  # noqa: F401 (used in the steps below)


def chapter(title):
    print("\n--- " + title + " ---")


def show(call):
    """Prints the call as one would type it, then what it gives or raises."""
    print(">>> " + call)
    try:
        answer = eval(call)
    except Exception as error:
        print("%s: %s" % (type(error).__name__, error))
    else:
        if answer is not None:
            print(repr(answer))


def show_in_another_process(call):
    """The same in a process of its own: what was written is the host's, not this process's."""
    print("$ python3 -c 'import pyquelt; print(%s)'" % call)
    sys.stdout.flush()
    subprocess.check_call([sys.executable, "-c", "import pyquelt; print(%s)" % call])


def configuration_store():
    chapter("Configuration store: hardware")
    show("pyquelt.GetHardwareSku()")
    show("pyquelt.GetIloAuth()")
    show("pyquelt.SetIloAuth('admin', 'correct horse')")
    show("pyquelt.GetIloAuth()")
    show_in_another_process("pyquelt.GetIloAuth()")
    show("pyquelt.SetIloAuth('admin')")

    chapter("Configuration store: services")
    show("pyquelt.GetPerfsvcHostConfigStore()")
    show("pyquelt.SetPerfsvcHostConfigStore('verbosity', 'high')")
    show("pyquelt.GetPerfsvcHostConfigStore()['verbosity']")
    show("pyquelt.SetClusterTimeMachineConfigStore('snapshotInterval', '900')")


if __name__ == "__main__":
    configuration_store()
