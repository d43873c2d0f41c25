"""Runs test modules as "python3 -m unittest -q" does, and prints a line for each skipped test;
./run collects these lines."""

import os
import sys
import unittest

if __name__ == "__main__":
    sys.path.insert(0, os.getcwd())
    result = unittest.main(module=None, argv=["", "-q"] + sys.argv[1:], exit=False).result
    for test, reason in result.skipped:
        print("SKIPPED {}: {}".format(test.id(), reason))
    sys.exit(0 if (result.testsRun or result.skipped) and result.wasSuccessful() else 1)
