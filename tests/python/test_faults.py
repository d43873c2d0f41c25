"""Operations that misbehave on purpose, set and healed from outside; the tool that does it."""

import ctypes
import json
import os
import time
import unittest

import pyquelt
import hosts

SKU = "QS-2240-AF"
REFUSED = (ValueError, "Failed to get hardware sku from config store")


def outcome(function, *args):
    """What a call gives: its answer, or its exception's type and text."""
    try:
        return function(*args)
    except Exception as error:
        return type(error), str(error)


class FaultTest(hosts.HostTestCase):

    def outcomes(self, calls):
        return [outcome(pyquelt.GetHardwareSku) for _ in range(calls)]

    def test_fault_shows_itself_as_another_one(self):
        for arguments, expected in (
                (("--refuse",), REFUSED),
                ((), REFUSED),
                (("--throw", u"gr\u00fc\u00df"), (ValueError, u"gr\u00fc\u00df")),
                (("--throw-standard", ""), (ValueError, "")),
                (("--throw-unknown",), (RuntimeError, "Unknown platform exception")),
                (("--delay", "0"), SKU)):
            with self.subTest(arguments):
                self.tool("fail", "GetHardwareSku", *arguments)
                self.assertEqual(self.outcomes(2), [expected] * 2)
                self.tool("heal", "GetHardwareSku")
                self.assertEqual(self.outcomes(1), [SKU])

    def test_operation_without_an_answer_for_it_is_not_refused(self):
        self.tool("fail", "GetQueltPlugin")
        self.assertEqual(outcome(pyquelt.GetKekId)[1], "The host refused GetQueltPlugin")

    def test_write_takes_effect_though_it_was_refused(self):
        for arguments in ("--refuse",), ("--throw", "no"), ("--throw-unknown",):
            self.tool("fail", "SetIloAuth", *arguments)
            self.assertIsInstance(outcome(pyquelt.SetIloAuth, "a", "b"), tuple)
        self.assertEqual(outcome(pyquelt.GetIloAuth)[1], "Failed to get iLO credential")

    def test_calls_are_counted_wrongly(self):
        for after, times, calls in ((0, 1, 3), (2, 1, 5), (1, 3, 6), (3, None, 6)):
            with self.subTest(after=after, times=times):
                self.tool("fail", "GetHardwareSku", "--after", after,
                          *([] if times is None else ["--times", times]))
                struck = range(after, calls if times is None else after + times)
                self.assertEqual(self.outcomes(calls),
                                 [REFUSED if call in struck else SKU for call in range(calls)])
        self.assertEqual([fault["after"] for fault in self.faults()], [0])
        self.tool("heal")
        self.assertEqual(self.faults(), [])

    def faults(self):
        return json.loads(self.tool("faults", "--json"))

    def test_processes_count_each_for_itself(self):
        self.tool("fail", "GetHardwareSku", "--after", 10, "--times", 20)
        script = ("import pyquelt\n"
                  "refused = 0\n"
                  "for _ in range(15):\n"
                  "    try:\n"
                  "        pyquelt.GetHardwareSku()\n"
                  "    except ValueError:\n"
                  "        refused += 1\n"
                  "print(refused)\n")
        children = [hosts.start_python(script) for _ in range(3)]
        self.assertEqual(sum(int(child.communicate()[0]) for child in children), 20)
        self.assertEqual(self.outcomes(1), [SKU])

    def test_running_script_does_not_see_a_fault_come_and_go(self):
        script = ("import pyquelt, sys\n"
                  "for line in sys.stdin:\n"
                  "    try:\n"
                  "        print(pyquelt.GetHardwareSku(), flush=True)\n"
                  "    except ValueError as error:\n"
                  "        print(error, flush=True)\n")
        child = hosts.start_python(script)

        def ask():
            child.stdin.write("\n")
            child.stdin.flush()
            return child.stdout.readline().strip()

        for turn in range(3):
            self.assertEqual(ask(), SKU)
            self.tool("fail", "GetHardwareSku", "--throw", "turn %d" % turn)
            self.assertEqual(ask(), "turn %d" % turn)
            self.tool("heal")
        # A lost control file is noticed when the state's files are looked at again.
        os.remove(hosts.STATE + "-control")
        self.tool("fail", "GetHardwareSku", "--throw", "found again")
        deadline = time.time() + 60
        while ask() == SKU and time.time() < deadline:
            pass
        self.assertEqual(ask(), "found again")
        self.assertEqual(child.communicate()[1], "")

    def test_delay_is_left_out_or_holds_up_others(self):
        self.tool("fail", "GetHardwareSku", "--delay", "0.3", "--throw", "late", "--times", 1)
        start = time.time()
        self.assertEqual(self.outcomes(1), [(ValueError, "late")])
        self.assertGreaterEqual(time.time() - start, 0.299)
        # While a call of another process is late, this one reads, writes and forks.
        self.tool("fail", "GetHardwareSku", "--delay", "3600", "--times", 1)
        child = hosts.start_python("import pyquelt; pyquelt.GetHardwareSku()")
        while self.faults():
            pass
        pyquelt.SetIloAuth("a", "b")
        self.assertEqual(self.outcomes(1), [SKU])
        child.kill()
        child.communicate()

    def test_feature_flag_is_stale_or_off_the_mark(self):
        library = ctypes.CDLL(os.environ["PYQUELT_EMBEDDED_HOST"])
        flags = [getattr(library, "_ZN6ZelCtl5Quelt9QueltUtil%sEv" % name)
                 for name in ("24IsQueltCSDFeatureEnabled", "33IsQueltMetadataNodeFeatureEnabled")]
        for flag in flags:
            flag.restype = ctypes.c_bool
        for csd, metadata_node in ((0, 0), (1, 0), (0, 1), (1, 1)):
            hosts.sqlite(hosts.STATE, "UPDATE switch SET is_on = %d WHERE name = 'csd';"
                         "UPDATE switch SET is_on = %d WHERE name = 'metadataNode'"
                         % (csd, metadata_node))
            self.tool("heal")  # tells all processes to look again
            self.assertEqual([flag() for flag in flags], [bool(csd), bool(metadata_node)])
        self.tool("fail", "IsQueltCSDFeatureEnabled")
        self.assertEqual([flag() for flag in flags], [False, True])


class ToolTest(hosts.HostTestCase):

    def test_wrong_usage_has_another_status_or_changes_something(self):
        for arguments, text in (
                ((), "subcommand is required"),
                (("nonsense",), "No command is called"),
                (("fail",), "OPERATION is required"),
                (("fail", "GetKekId"), "Did you mean GetConfiguredKekId?"),
                (("fail", "gethardwaresku"), "Did you mean GetHardwareSku?"),
                (("heal", "SetIloAut"), "Did you mean SetIloAuth or GetIloAuth?"),
                (("heal", "GetHardwareSku", "xyz"), "No platform operation is called \"xyz\"\n"),
                (("fail", "GetHardwareSku", "--refuse", "--throw", "x"), "at most 1"),
                (("fail", "GetHardwareSku", "--times", "0"), "--times"),
                (("fail", "GetHardwareSku", "--after", "-1"), "--after"),
                (("fail", "GetHardwareSku", "--delay", "nan"), "--delay"),
                (("faults", "--state"), "--state")):
            with self.subTest(arguments):
                result = hosts.quelt_host(*arguments)
                self.assertEqual((result.code, result.out), (2, ""))
                self.assertIn(text, result.err)
        self.assertEqual(self.tool("faults"), "")

    def test_failure_has_another_status_or_more_than_a_line(self):
        for arguments in ("init",), ("reset",), ("fail", "DDBGet"), ("heal",), ("faults",):
            result = hosts.quelt_host(*(arguments + ("--state", hosts.FOLDER)))
            self.assertEqual(result, hosts.Result(
                1, "", "quelt-host: " + hosts.FOLDER + ": Is a directory\n"))
        result = hosts.run(["sh", "-c", "exec \"$0\" init >/dev/full", hosts.TOOL])
        self.assertEqual(result, hosts.Result(
            1, "", "quelt-host: Standard output could not be written\n"))


if __name__ == "__main__":
    unittest.main()
