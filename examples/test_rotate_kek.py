#!/usr/bin/env python3
"""Tests the rollback of rotate_kek.py: after a failed step, the host is unchanged.

    python3 -m unittest test_rotate_kek        (pytest finds it too)

The unmodified script runs in its own process, on a fresh host from quelt_testing.
"""

import os
import sys
import tempfile
import unittest

import quelt_testing

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "rotate_kek.py")

SCENARIO = {
    "kekId": "old",
    "keys": [{"id": "old", "attribute": "KEK", "key": "a1" * 32}],
    "disks": [
        {"name": "disk-1", "uuid": "00000000-0000-4000-8000-000000000001", "encrypted": True,
         "kekId": "old", "dek": "01" * 32 + "02" * 32},
        {"name": "disk-2", "uuid": "00000000-0000-4000-8000-000000000002", "encrypted": True,
         "kekId": "old", "dek": "03" * 32 + "04" * 32},
    ],
}

# Each step of the rotation fails once. The script reads both DEKs before and after rekeying: the
# third read is the first of the verification.
FAULTS = [
    ("PersistKekId", {"throw": "iru.conf is locked", "times": 1}),
    ("ShallowRekeyDisks", {"throw": "the disk is busy", "times": 1}),
    ("GetUnwrappedDekForDisk", {"throw": "the record cannot be read", "after": 2, "times": 1}),
]


class RollbackTest(unittest.TestCase):

    def setUp(self):
        key = tempfile.NamedTemporaryFile("w", suffix=".key")
        self.addCleanup(key.close)
        key.write("b2" * 32 + "\n")
        key.flush()
        self.command = [SCRIPT, "old", "new", key.name, "disk-1", "disk-2"]

    def test_rotation_moves_all_disks_to_the_new_key(self):
        with quelt_testing.Host(SCENARIO) as host:
            result = host.run_python(*self.command)
            self.assertEqual((result.code, result.err), (0, ""))
            after = host.dump()
            self.assertEqual([disk["kekId"] for disk in after["disks"]], ["new", "new"])
            self.assertEqual(after["kekId"], "new")

    def test_failed_step_is_undone(self):
        for operation, fault in FAULTS:
            with quelt_testing.Host(SCENARIO) as host:
                before = host.dump(secrets=True)
                host.fail(operation, **fault)
                result = host.run_python(*self.command)

                # The message contains the cause, and ids, records and keys are unchanged.
                self.assertEqual(result.code, 1)
                self.assertIn(fault["throw"], result.err)
                self.assertEqual(without_nonces(host.dump(secrets=True)), without_nonces(before))

                # The operation failed once, because of our fault.
                failed = [(each["operation"], each["message"]) for each in host.journal()
                          if each["outcome"] == "threw" and each["operation"] == operation]
                self.assertEqual(failed, [(operation, fault["throw"])])

    def test_no_failing_change_leaves_the_rotation_half_done(self):
        # Each operation that changes the host fails in five ways, and the script is run again.
        changes = ["AddKeyToKeyCache", "PersistKekId", "ShallowRekeyDisks"]
        for run in quelt_testing.rehearse([sys.executable] + self.command, SCENARIO, retry=True,
                                          only=changes):
            with self.subTest(run.id):
                run.check()


def without_nonces(dump):
    """Removes wrapped DEKs: each wrapping uses a new nonce, so its result differs."""
    for disk in dump["disks"]:
        del disk["wrapped"]
    return dump


if __name__ == "__main__":
    unittest.main()
