"""Fault injection into operations, and its removal, from other processes."""

import ctypes
import json
import os
import time

import pyquelt
import hosts
from hosts import outcome

SKU = "QS-2240-AF"
REFUSED = (ValueError, "Failed to get hardware sku from config store")

# Reads the SKU once per input line.
READER = """
import pyquelt, sys
for line in sys.stdin:
    try: print(pyquelt.GetHardwareSku(), flush=True)
    except ValueError as error: print(error, flush=True)
"""


class FaultTest(hosts.HostTestCase):

    def outcomes(self, calls):
        return [outcome(pyquelt.GetHardwareSku) for _ in range(calls)]

    def faults(self):
        return json.loads(self.tool("faults", "--json"))

    def test_fault_triggers_as_configured_and_as_often(self):
        for words, after, times, expected in (
                (["--refuse"], 0, 2, REFUSED),
                (["--throw", u"gr\u00fc\u00df"], 0, 2, (ValueError, u"gr\u00fc\u00df")),
                (["--throw-standard=", "--times", 2], 0, 2, (ValueError, "")),
                (["--throw-unknown"], 0, 2, (RuntimeError, "Unknown platform exception")),
                (["--delay", "0"], 0, 2, SKU),
                (["--times", 1, "--after", 2], 2, 1, REFUSED),
                (["--times", 3, "--after", 1], 1, 3, REFUSED),
                (["--after", 3], 3, 3, REFUSED)):
            with self.subTest(words):
                self.tool("fail", "GetHardwareSku", *words)
                self.assertEqual(self.outcomes(after + times), [SKU] * after + [expected] * times)
                if "--times" not in words:
                    self.assertEqual([fault["after"] for fault in self.faults()], [0])
                    self.tool("heal", "GetHardwareSku")
                self.assertEqual((self.outcomes(2), self.faults()), ([SKU] * 2, []))

    def test_failed_write_has_no_effect(self):
        for words in ("--refuse",), ("--throw", "no"), ("--throw-unknown",):
            self.tool("fail", "SetIloAuth", *words)
            self.assertIsInstance(outcome(pyquelt.SetIloAuth, "a", "b"), tuple)
        self.assertEqual(outcome(pyquelt.GetIloAuth)[1], "Failed to get iLO credential")
        # An operation that has no result for a failure.
        self.tool("fail", "GetQueltPlugin")
        self.assertEqual(outcome(pyquelt.GetKekId)[1], "The host refused GetQueltPlugin")

    def test_operation_takes_effect_before_the_faults_that_come_after_it(self):
        call = "import pyquelt; pyquelt.SetIloAuth('user', 'b')"
        for words, code, end, user in ((["--throw-after", "lost"], 1, "threw", "user"),
                                       (["--kill"], -9, "killed", None),
                                       (["--kill-after"], -9, "killed", "user")):
            self.tool("reset")
            self.tool("journal", "start")
            self.tool("fail", "SetIloAuth", "--times", 1, *words)
            self.assertEqual(hosts.run_python(call).code, code)
            record, = self.tool("journal", "show", "--json", "SetIloAuth").splitlines()
            self.assertEqual(json.loads(record)["outcome"], end)
            self.assertEqual(self.dump().get("ilo", {}).get("first"), user)
            self.assertEqual(hosts.run_python(call).code, 0)
        # Also if the operation fails.
        self.tool("fail", "RemoveKeyFromKeyCache", "--kill-after")
        self.assertEqual(hosts.run_python("import pyquelt; pyquelt.RemoveKey('none')").code, -9)

    def test_processes_share_the_count_of_a_fault(self):
        self.tool("fail", "GetHardwareSku", "--after", 10, "--times", 20)
        children = [hosts.start_python(READER) for _ in range(3)]
        answers = "".join(child.communicate(15 * "\n")[0] for child in children)
        self.assertEqual((answers.count(REFUSED[1]), answers.count(SKU)), (20, 25))
        self.assertEqual(self.outcomes(1), [SKU])

    def test_running_script_notices_when_a_fault_is_set_and_removed(self):
        child = hosts.start_python(READER)

        def ask():
            child.stdin.write("\n")
            child.stdin.flush()
            return child.stdout.readline().strip()

        for turn in range(3):
            self.assertEqual(ask(), SKU)
            self.tool("fail", "GetHardwareSku", "--throw", "turn %d" % turn)
            self.assertEqual(ask(), "turn %d" % turn)
            self.tool("heal")
        self.assertEqual(ask(), SKU)
        # A deleted control file is noticed at the next check of the state's files.
        os.remove(hosts.STATE + "-control")
        self.tool("fail", "GetHardwareSku", "--throw", "found again")
        begin = time.time()
        while ask() == SKU:
            self.assertLess(time.time() - begin, 60)
        self.assertEqual((ask(), child.communicate()[1]), ("found again", ""))

    def test_delay_affects_only_the_delayed_call(self):
        self.tool("fail", "GetHardwareSku", "--delay", "0.3", "--throw", "late", "--times", 1)
        start = time.time()
        self.assertEqual((self.outcomes(1), time.time() - start > 0.299),
                         ([(ValueError, "late")], True))
        # While a call of another process is delayed, this process reads, writes and forks.
        self.tool("fail", "GetHardwareSku", "--delay", "3600", "--times", 1)
        child = hosts.start_python("import pyquelt; pyquelt.GetHardwareSku()")
        while self.faults():
            pass
        pyquelt.SetIloAuth("a", "b")
        self.assertEqual(self.outcomes(1), [SKU])
        child.kill()
        child.communicate()

    def test_feature_flags_follow_the_scenario_and_faults(self):
        library = ctypes.CDLL(os.environ["PYQUELT_EMBEDDED_HOST"])
        flags = [getattr(library, "_ZN6ZelCtl5Quelt9QueltUtil%sEv" % name)
                 for name in ("24IsQueltCSDFeatureEnabled", "33IsQueltMetadataNodeFeatureEnabled")]
        for csd, metadata_node in ((0, 0), (1, 0), (0, 1), (1, 1)):
            self.load({"features": {"csd": bool(csd), "metadataNode": bool(metadata_node)}})
            self.assertEqual([flag() & 255 for flag in flags], [csd, metadata_node])
        self.tool("fail", "IsQueltCSDFeatureEnabled")
        self.assertEqual([flag() & 255 for flag in flags], [0, 1])
