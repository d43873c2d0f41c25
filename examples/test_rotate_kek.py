#!/usr/bin/env python3
"""Tests the way back of rotate_kek.py: a step fails, and everything is as it was before.

    python3 -m unittest test_rotate_kek        (pytest finds it too)

The script runs unmodified, in a process of its own, on a host that quelt_testing makes.
"""

import os
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

# Each step of the rotation fails once. The two DEKs are read before and after rekeying: the third
# reading is the first one of the verification.
FAULTS = [
    ("PersistKekId", {"throw": "iru.conf is locked", "times": 1}),
    ("ShallowRekeyDisks", {"throw": "the disk is busy", "times": 1}),
    ("GetUnwrappedDekForDisk", {"throw": "the record cannot be read", "after": 2, "times": 1}),
]


class WayBackTest(unittest.TestCase):

    def setUp(self):
        key = tempfile.NamedTemporaryFile("w", suffix=".key")
        self.addCleanup(key.close)
        key.write("b2" * 32 + "\n")
        key.flush()
        self.command = [SCRIPT, "old", "new", key.name, "disk-1", "disk-2"]

    def test_rotation_reaches_its_end(self):
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

                # It says what went wrong, and everything is as it was: ids, records, keys.
                self.assertEqual(result.code, 1)
                self.assertIn(fault["throw"], result.err)
                self.assertEqual(without_nonces(host.dump(secrets=True)), without_nonces(before))

                # It failed where we wanted it to, and only there.
                failed = [(each["operation"], each["message"]) for each in host.journal()
                          if each["outcome"] == "threw" and each["operation"] == operation]
                self.assertEqual(failed, [(operation, fault["throw"])])


def without_nonces(dump):
    """The same DEK under the same KEK looks different each time that it is wrapped."""
    for disk in dump["disks"]:
        del disk["wrapped"]
    return dump


if __name__ == "__main__":
    unittest.main()
