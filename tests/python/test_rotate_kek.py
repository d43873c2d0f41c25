"""The example of a key rotation: whatever fails, and wherever it is cut off, no key is lost."""

import json
import os
import sys
import unittest

import deep
import hosts
import pyquelt

EXAMPLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "examples",
                       "rotate_kek.py")
DISKS = ["d1", "d2", "d3"]
NEW_KEY = "b2" * 32

# The calls at which the rotation is cut off: those that change something, or all.
CALLS = (tuple(name for name in dir(pyquelt) if callable(getattr(pyquelt, name))) if deep.DEEP
         else ("CacheKey", "SetKekId", "ShallowRekey", "RemoveKey"))

# Runs the example in a process that ends, without a word, before or after the n-th of these calls.
CUT_OFF = """
import os, runpy, sys
import pyquelt
left, after = int(sys.argv[1]), sys.argv[2] == "after"
def cut(function):
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
    setattr(pyquelt, name, cut(getattr(pyquelt, name)))
sys.argv = sys.argv[4:]
runpy.run_path(sys.argv[0], run_name="__main__")
"""


class RotationTest(hosts.HostTestCase):

    def setUp(self):
        folder = self.fresh_folder()
        disks = [{"name": name, "uuid": "00000000-0000-4000-8000-00000000000" + name[1],
                  "encrypted": True, "dek": name[1] * 127 + "0", "kekId": "old"} for name in DISKS]
        disks.append(dict(disks[0], name="t1", uuid="00000000-0000-4000-8000-000000000009",
                          encrypted=False))
        del disks[-1]["dek"]
        with open(os.path.join(folder, "scenario.json"), "w") as file:
            json.dump({"kekId": "old", "keys": [{"id": "old", "key": "a1" * 32}], "disks": disks,
                       "t1Disks": {"t1": {"healthy": 1}}}, file)
        self.key_file = os.path.join(folder, "key")
        with open(self.key_file, "w") as file:
            file.write(NEW_KEY + "\n")
        self.command = [EXAMPLE, "old", "new", self.key_file] + DISKS
        self.scenario = os.path.join(folder, "scenario.json")
        self.tool("load", self.scenario)

    def rotate(self, *options):
        return hosts.run([sys.executable] + self.command[:1] + list(options) + self.command[1:])

    def state(self):
        """KEK of the host, KEKs of the disks, keys in the cache."""
        keys = [key["id"] for key in json.loads(self.tool("dump", "--secrets")).get("keys", ())]
        return (pyquelt.GetKekId(), {pyquelt.GetEncInfoForDisk(disk)["kekId"] for disk in DISKS},
                keys)

    def assert_no_key_is_lost(self):
        for disk in DISKS:
            self.assertEqual(pyquelt.GetDekFromDisk(disk),
                             bytes(bytearray.fromhex(disk[1] * 127 + "0")))

    def assert_finished(self, result):
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertEqual(self.state(), ("new", {"new"}, ["new"]))
        self.assert_no_key_is_lost()

    def test_rotation_does_not_finish_or_not_twice(self):
        for _ in range(2):
            self.assert_finished(self.rotate())

    def test_old_key_is_removed_while_it_is_needed(self):
        self.command = self.command[:-1]
        for disk in ("d3", "t1"):
            self.tool("load", self.scenario)
            state = json.loads(self.tool("dump", "--secrets"))
            state["t1Disks"] = {disk: {"healthy": 1}}
            if disk == "t1":
                state["disks"][2]["encrypted"] = False
            with open(self.scenario + ".2", "w") as file:
                json.dump(state, file)
            self.tool("load", self.scenario + ".2")
            result = self.rotate()
            self.assertEqual(result.code, 1 if disk == "d3" else 0, result.err)
            self.assertEqual(self.state()[2], ["new", "old"] if disk == "d3" else ["new"])
        self.tool("load", self.scenario)
        self.assertEqual(self.rotate("--keep-old").code, 0)
        self.assertEqual(self.state()[2], ["new", "old"])

    def test_rotation_that_cannot_succeed_changes_something(self):
        def alter(function, *args):
            return lambda: function(*args)

        for prepare, reason in (
                (alter(pyquelt.SetKekId, "other"), "The host's KEK id is 'other'"),
                (alter(pyquelt.CacheKey, "new", "", b"x" * 32),
                 "The cache holds another key under 'new'"),
                (alter(pyquelt.RemoveKey, "old"), 'KEK "old" is not in the key cache'),
                (alter(pyquelt.SetEncryptionEnabled, False), "is not encrypted under a KEK"),
                (lambda: self.command.append("d9"), 'Disk "d9" does not exist'),
                (lambda: self.command.__setitem__(2, "old"), "The new KEK id is the old one"),
                (lambda: self.command.__setitem__(3, EXAMPLE), "non-hexadecimal"),
                (lambda: self.command.insert(1, "--kms=c"), "The KMS is not good: No server")):
            self.setUp()
            prepare()
            before = self.state()
            result = self.rotate()
            self.assertEqual(result.code, 1, result.out)
            self.assertIn(reason, result.err)
            self.assertEqual(self.state(), before)

    def test_failed_step_is_not_undone_or_loses_a_key(self):
        for operation, good_calls in (
                ("AddKeyToKeyCache", 0), ("PersistKekId", 0), ("ShallowRekeyDisks", 0),
                ("RetrieveKeyFromKeyCache", 2), ("GetUnwrappedDekForDisk", 3),
                ("GetUnwrappedDekForDisk", 5), ("GetEncMetadataForDisk", 12)):
            for times in (1, 1000):
                self.setUp()
                self.tool("fail", operation, "--throw", "on purpose", "--after", good_calls,
                          "--times", times)
                result = self.rotate()
                self.assertEqual(result.code, 1, (operation, good_calls, times, result.out))
                self.assertIn("rotate_kek: ", result.err)
                self.tool("heal")
                self.assert_no_key_is_lost()
                if times == 1:
                    self.assertEqual(self.state(), ("old", {"old"}, ["old"]), operation)
                self.assert_finished(self.rotate())

    def test_failed_removal_of_the_old_key_undoes_the_rotation(self):
        self.tool("fail", "RemoveKeyFromKeyCache", "--throw", "on purpose", "--times", 1)
        self.assertEqual(self.rotate().err, "rotate_kek: on purpose\n")
        self.assertEqual(self.state(), ("new", {"new"}, ["new", "old"]))
        self.assert_finished(self.rotate())

    def test_rotation_that_is_cut_off_loses_a_key_or_cannot_be_finished(self):
        step, code = 0, 77
        while code == 77:
            for when in ("before", "after"):
                self.tool("load", self.scenario)
                result = hosts.run_python(CUT_OFF, str(step), when, " ".join(CALLS),
                                          *self.command)
                code = result.code
                self.assertIn((code, result.err), ((77, ""), (0, "")))
                self.assert_no_key_is_lost()
                self.assert_finished(self.rotate())
            step += 1
        self.assertGreater(step, 30 if deep.DEEP else len(CALLS))


if __name__ == "__main__":
    unittest.main()
