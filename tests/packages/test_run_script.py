"""The functions that the commands of ./run share (scripts/common.sh)."""

import os
import subprocess
import sys

import hosts

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
ROOT = os.path.dirname(TESTS)

MODULE = """
import unittest

class Test(unittest.TestCase):
    @unittest.skip("no server here")
    def test_one(self):
        pass

    def test_other(self):
        pass
"""
GOOGLETEST = """[ RUN      ] Suite.Case
/x/suite_test.cpp:7: Skipped
no such user

[  SKIPPED ] Suite.Case (0 ms)
[  SKIPPED ] 1 test, listed below:
[  SKIPPED ] Suite.Case
"""


class RunScriptTest(hosts.HostTestCase):

    def test_reports_skipped_tests_with_their_reasons(self):
        folder = os.path.dirname(hosts.write("some_tests.py", MODULE))
        log = subprocess.check_output(
            [sys.executable, os.path.join(TESTS, "support", "run_tests.py"), "some_tests"],
            cwd=folder, stderr=subprocess.DEVNULL)
        report = hosts.run(["bash", "-c", ". scripts/common.sh; report_skipped"], cwd=ROOT,
                           input=log.decode("ascii") + GOOGLETEST)
        self.assertEqual(report, (0, "\nSkipped tests:\n  some_tests.Test.test_one: no server here"
                                     "\n  Suite.Case: no such user\n", ""))
