"""The example of a key rotation loses no key, whichever step fails or is interrupted."""

import json
import os
import subprocess
import sys

import deep
import hosts
import pyquelt

EXAMPLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "examples",
                       "rotate_kek.py")
DISKS = ["d1", "d2", "d3"]
SCENARIO = {
    "kekId": "old", "keys": [{"id": "old", "key": "a1" * 32}],
    "disks": [{"name": name, "uuid": "00000000-0000-4000-8000-00000000000" + name[1],
               "encrypted": True, "dek": name[1] * 127 + "0", "kekId": "old"} for name in DISKS]
             + [{"name": "t1", "uuid": "00000000-0000-4000-8000-000000000009", "kekId": "old"}],
    "t1Disks": {"t1": {"healthy": 1}}}

# The calls at which the rotation is interrupted: those that change the host, or all.
CALLS = (tuple(name for name in dir(pyquelt) if callable(getattr(pyquelt, name))) if deep.DEEP
         else ("CacheKey", "SetKekId", "ShallowRekey", "RemoveKey"))

# Runs the example in a process that exits abruptly before or after the n-th of these calls.
INTERRUPTED = """
import os, runpy, sys
import pyquelt
left, after = int(sys.argv[1]), sys.argv[2] == "after"
def interrupt(function):
    def call(*args):
        global left
        left -= 1
        if left < 0 and not after:
            os._exit(77)
        result = function(*args)
        if left < 0:
            os._exit(77)
        return result
    return call
for name in sys.argv[3].split():
    setattr(pyquelt, name, interrupt(getattr(pyquelt, name)))
sys.argv = sys.argv[4:]
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

# Where a step fails: the operation, and how many of its calls succeed before.
STEPS = [("AddKeyToKeyCache", 0), ("PersistKekId", 0), ("ShallowRekeyDisks", 0),
         ("RetrieveKeyFromKeyCache", 2), ("GetUnwrappedDekForDisk", 3),
         ("GetUnwrappedDekForDisk", 5), ("GetEncMetadataForDisk", 12)]

# Redirections of the example's output (0 is a pipe without a reader); its exit status and the
# host's KEK afterwards if no step fails.
OUTPUTS = [(">&-", 1, "old"), (">/dev/full", 1, "old"), (">/dev/full 2>/dev/full", 1, "old"),
           (">&- 2>&-", 1, "old"), (">&0", 1, "old"), ("2>&0", 0, "n\xfc"), ("2>&-", 0, "n\xfc"),
           ("", 0, "n\xfc")]


class RotationTest(hosts.HostTestCase):

    def setUp(self):
        self.begin()
        self.key_file = hosts.write("key", "b2" * 32 + "\n")

    def begin(self, **changes):
        self.assertEqual(self.load(dict(SCENARIO, **changes)), "")

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

    def assert_finished(self, result):
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertEqual(self.state(), ("new", {"new"}, ["new"]))
        self.assert_no_key_is_lost()

    def test_old_key_is_removed_unless_a_disk_needs_it(self):
        for _ in range(2):
            self.assert_finished(self.rotate())
        disks = json.loads(json.dumps(SCENARIO["disks"]))
        for encrypted, code, keys in ((True, 1, ["new", "old"]), (False, 0, ["new"])):
            if not encrypted:
                disks[2].pop("dek")
            disks[2]["encrypted"] = encrypted
            self.begin(disks=disks, t1Disks={"d3": {"healthy": 1}})
            self.assertEqual(self.rotate(disks=["d1", "d2"]).code, code)
            self.assertEqual(self.state()[2], keys)
        # A disk that is neither named nor listed needs the key.
        self.begin(t1Disks={})
        self.assertEqual(self.rotate(option="--", disks=["d1", "d2"]).code, 0)
        self.assertEqual(self.state(), ("new", {"old", "new"}, ["new", "old"]))
        self.assert_no_key_is_lost()
        self.begin()
        result = self.rotate()
        self.assert_finished(result)
        self.assertIn("among d1, d2, d3, t1: other disks were not checked", result.out)

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
                if times == 1:
                    self.assertEqual(self.state(), ("old", {"old"}, ["old"]), operation)
                self.assert_finished(self.rotate())

    def test_rolls_back_when_its_output_is_closed_or_cannot_be_encoded(self):
        unread, closed = os.pipe()
        self.addCleanup(os.close, closed)
        os.close(unread)
        for redirection, code, kek in OUTPUTS:
            for times in (0, 1):
                self.begin()
                if times:
                    self.tool("fail", "ShallowRekeyDisks", "--throw", "n\xf6", "--times", times)
                words = self.command(option="--", new=u"n\xfc".encode("utf-8"))
                status = subprocess.call(
                    ["sh", "-c", 'exec "$@" ' + redirection, "sh", sys.executable] + words,
                    stdin=closed, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                    env=dict(os.environ, PYTHONIOENCODING="ascii", LC_ALL="C.UTF-8"))
                self.assertEqual((status, pyquelt.GetKekId()),
                                 (1, "old") if times else (code, kek), (redirection, times))
                self.assertEqual(self.state()[1], {pyquelt.GetKekId()})

        # The reader closes the pipe while the disks are being rekeyed.
        self.begin()
        self.tool("fail", "ShallowRekeyDisks", "--delay", 0.5)
        process = hosts.start([sys.executable] + self.command())
        self.assertEqual(process.stdout.readline(), "The new KEK is in the key cache\n")
        process.stdout.close()
        self.assertIn("Standard output can't be written", process.stderr.read())
        process.stdin.close()
        process.stderr.close()
        self.assertEqual((process.wait(), self.state()), (1, ("old", {"old"}, ["old"])))

    def test_failed_removal_of_the_old_key_leaves_the_rotation_complete(self):
        self.tool("fail", "RemoveKeyFromKeyCache", "--throw", "injected", "--times", 1)
        self.assertEqual(self.rotate().err, "rotate_kek: injected\n")
        self.assertEqual(self.state(), ("new", {"new"}, ["new", "old"]))
        self.assert_finished(self.rotate())

    def test_interrupted_rotation_loses_no_key_and_can_be_finished(self):
        step, code = 0, 77
        while code == 77:
            for when in ("before", "after"):
                self.begin()
                code, _, err = hosts.run_python(INTERRUPTED, str(step), when, " ".join(CALLS),
                                                *self.command())
                self.assertIn((code, err), ((77, ""), (0, "")))
                self.assert_no_key_is_lost()
                self.assert_finished(self.rotate())
            step += 1
        self.assertGreater(step, 30 if deep.DEEP else len(CALLS))
