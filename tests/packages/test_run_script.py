"""The arguments of ./run, and the functions that its commands share (scripts/common.sh)."""

import os
import sys

import hosts

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
MODULE = """
import unittest
class Test(unittest.TestCase):
    test_one = unittest.skip("no server here")(print)
    test_other = lambda self: None
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
        log = hosts.run([sys.executable, os.path.join(TESTS, "support", "run_tests.py"),
                         "some_tests"], cwd=folder).out
        report = hosts.run(["bash", "-c", ". scripts/common.sh; report_skipped"],
                           cwd=os.path.dirname(TESTS), input=log + GOOGLETEST)
        self.assertEqual(report, (0, "\nSkipped tests:\n  some_tests.Test.test_one: no server here"
                                     "\n  Suite.Case: no such user\n", ""))

    def test_rejects_invalid_arguments_with_one_sentence(self):
        for arguments, error in (
                (["prepare"], "no such command: prepare"),
                (["debian"], "debian needs a Debian release, for example trixie"),
                (["debian", "/tmp"], "debian needs a Debian release, for example trixie")):
            status, _, errors = hosts.run(["./run"] + arguments, cwd=os.path.dirname(TESTS))
            self.assertEqual((status, errors.splitlines()[-1]), (1, "run: " + error), arguments)
