"""The example of a key rotation loses no key, whichever step fails or is interrupted."""

import os
import subprocess
import sys

import deep
import hosts
import pyquelt
import quelt_testing

EXAMPLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "examples",
                       "rotate_kek.py")
DISKS = ["d1", "d2", "d3"]

# The calls at which the rotation is interrupted: those that change the host, or all.
CALLS = (tuple(name for name in dir(pyquelt) if callable(getattr(pyquelt, name))) if deep.DEEP
         else ("CacheKey", "SetKekId", "ShallowRekey", "RemoveKey"))

# Runs the example in a process that exits abruptly before or after the n-th of these calls.
INTERRUPTED = """
import os, runpy, sys
left, moment, calls, *sys.argv = sys.argv[1:]
left = int(left)
def watch(frame, event, function):
    global left
    if event == moment and function.__name__ in calls.split():
        left -= 1
        if left < 0:
            os._exit(77)
sys.setprofile(watch)
runpy.run_path(sys.argv[0], run_name="__main__")
"""

# Rotations that are rejected: a call of the module before, changed arguments, the reason.
REJECTED = [
    (("SetKekId", "other"), {}, "The host's KEK id is 'other'"),
    (("CacheKey", "new", "", b"x" * 32), {}, "The cache holds another key under 'new'"),
    (("RemoveKey", "old"), {}, 'KEK "old" is not in the key cache'),
    (("SetEncryptionEnabled", False), {}, "is not encrypted under a KEK"),
    ((), {"disks": DISKS + ["d9"]}, 'Disk "d9" does not exist'),
    ((), {"new": "old"}, "The new KEK id is the old one"),
    ((), {"key_file": EXAMPLE}, "non-hexadecimal"),
    ((), {"option": "--kms=c"}, "The KMS is not good: No server"),
]

# Where a step fails: the operation, and how many of its calls succeed before. If the removal of the
# old key fails, the disks use the new one.
STEPS = [("AddKeyToKeyCache", 0), ("PersistKekId", 0), ("ShallowRekeyDisks", 0),
         ("RetrieveKeyFromKeyCache", 2), ("GetUnwrappedDekForDisk", 3),
         ("GetUnwrappedDekForDisk", 5), ("GetEncMetadataForDisk", 12),
         ("RemoveKeyFromKeyCache", 0)]

# Redirections of the output (0 is a pipe without a reader; `read` ends while the disks are
# rekeyed); its exit status and the host's KEK afterwards if no step fails.
OUTPUTS = [(">&-", 1, "old"), (">/dev/full", 1, "old"), (">/dev/full 2>/dev/full", 1, "old"),
           (">&- 2>&-", 1, "old"), (">&0", 1, "old"), ("2>&0", 0, "n\xfc"), ("2>&-", 0, "n\xfc"),
           ("| read line", 1, "old"), ("", 0, "n\xfc")]


class RotationTest(hosts.HostTestCase):

    def setUp(self):
        self.key_file = hosts.write("key", "b2" * 32 + "\n")

    def begin(self, encrypted=DISKS, listed="t1"):
        """Loads a host with these encrypted disks, and one that GetT1DiskInfo lists."""
        self.assertEqual("", self.load({
            "kekId": "old", "keys": [{"id": "old", "key": "a1" * 32}], "t1Disks": {listed: {}},
            "disks": [dict({"name": name, "kekId": "old",
                            "uuid": "00000000-0000-4000-8000-%012d" % number},
                           **({"encrypted": True, "dek": name[1] * 127 + "0"}
                              if name in encrypted else {}))
                      for number, name in enumerate(DISKS + ["t1"])]}))

    def command(self, option="--remove-old", new="new", key_file=None, disks=DISKS):
        return [EXAMPLE, option, "old", new, key_file or self.key_file] + list(disks)

    def rotate(self, **words):
        return hosts.run([sys.executable] + self.command(**words))

    def state(self):
        """The KEK of the host, the KEKs of the disks, the keys in the cache."""
        keys = [key["id"] for key in self.dump().get("keys", ())]
        return (pyquelt.GetKekId(), {pyquelt.GetEncInfoForDisk(disk)["kekId"] for disk in DISKS},
                keys)

    def assert_no_key_is_lost(self):
        self.assertEqual([pyquelt.GetDekFromDisk(disk).hex() for disk in DISKS],
                         [disk[1] * 127 + "0" for disk in DISKS])

    def assert_finishes(self):
        result = self.rotate()
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertIn("among d1, d2, d3, t1: other disks were not checked", result.out)
        self.assertEqual(self.state(), ("new", {"new"}, ["new"]))
        self.assert_no_key_is_lost()

    def test_old_key_is_removed_unless_a_disk_needs_it(self):
        for encrypted, listed, option, code, keys in (
                (DISKS, "d3", "--remove-old", 1, ["new", "old"]),
                (DISKS, "t1", "--", 0, ["new", "old"]),
                (DISKS[:2], "d3", "--remove-old", 0, ["new"])):
            self.begin(encrypted, listed)
            result = self.rotate(option=option, disks=DISKS[:2])
            self.assertEqual((result.code, self.state()), (code, ("new", {"new", "old"}, keys)))

    def test_rejected_rotation_changes_nothing(self):
        for call, words, reason in REJECTED:
            self.begin()
            if call:
                getattr(pyquelt, call[0])(*call[1:])
            before = self.state()
            result = self.rotate(**words)
            self.assertEqual(result.code, 1, result.out)
            self.assertIn(reason, result.err)
            self.assertEqual(self.state(), before)

    def test_failed_step_is_undone_and_loses_no_key(self):
        for operation, successes in STEPS:
            for times in (1, 1000):
                self.begin()
                self.tool("fail", operation, "--throw", "injected", "--after", successes,
                          "--times", times)
                result = self.rotate()
                self.assertEqual(result.code, 1, (operation, successes, times, result.out))
                self.assertIn("rotate_kek: ", result.err)
                self.tool("heal")
                self.assert_no_key_is_lost()
                if operation == "RemoveKeyFromKeyCache":
                    self.assertEqual(self.state(), ("new", {"new"}, ["new", "old"]))
                elif times == 1:
                    self.assertEqual(self.state(), ("old", {"old"}, ["old"]), operation)
                self.assert_finishes()

    def test_rolls_back_when_its_output_is_closed_or_cannot_be_encoded(self):
        unread, closed = os.pipe()
        self.addCleanup(os.close, closed)
        os.close(unread)
        for redirection, code, kek in OUTPUTS:
            for times in (0, 1):
                self.begin()
                self.tool("fail", "ShallowRekeyDisks", "--delay", 0.2,
                          *["--throw", "n\xf6", "--times", 1] * times)
                words = self.command(option="--", new=u"n\xfc".encode("utf-8"))
                status = subprocess.call(
                    ["bash", "-o", "pipefail", "-c", '"$@" ' + redirection, "bash",
                     sys.executable] + words,
                    stdin=closed, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                    env=dict(os.environ, PYTHONIOENCODING="ascii", LC_ALL="C.UTF-8"))
                kek_id, keks, _ = self.state()
                self.assertEqual((status, kek_id, keks), (1, "old", {"old"}) if times
                                 else (code, kek, {kek}), (redirection, times))

    def test_rotation_can_be_finished_although_its_rollback_fails_too(self):
        self.begin()
        options = {} if deep.DEEP else {"only": ["ShallowRekeyDisks"], "modes": ["throw"]}
        runs = quelt_testing.rehearse([sys.executable] + self.command(option="--"), self.dump(),
                                      undo=True, retry=True, **options)
        self.assertGreater(len(runs), 25)
        for run in runs:
            run.check()

    def test_interrupted_rotation_loses_no_key_and_can_be_finished(self):
        step, code = 0, 77
        while code == 77:
            for moment in ("c_call", "c_return"):
                self.begin()
                code, _, err = hosts.run_python(INTERRUPTED, str(step), moment, " ".join(CALLS),
                                                *self.command())
                self.assertIn((code, err), ((77, ""), (0, "")))
                self.assert_no_key_is_lost()
                self.assert_finishes()
            step += 1
        self.assertGreater(step, 30 if deep.DEEP else len(CALLS))
