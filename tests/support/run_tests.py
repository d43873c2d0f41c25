"""Runs test modules as "python3 -m unittest -q" does, and prints a line for each skipped test;
./run collects these lines. On a free-threaded interpreter, the tests run with the GIL disabled."""

import os
import sys
import sysconfig
import unittest

if __name__ == "__main__":
    sys.path.insert(0, os.getcwd())
    result = unittest.main(module=None, argv=["", "-q"] + sys.argv[1:], exit=False).result
    for test, reason in result.skipped:
        print("SKIPPED {}: {}".format(test.id(), reason))
    if sysconfig.get_config_var("Py_GIL_DISABLED") and sys._is_gil_enabled():
        sys.exit("the GIL of this free-threaded interpreter is enabled")
    sys.exit(0 if (result.testsRun or result.skipped) and result.wasSuccessful() else 1)
