"""Keys, encrypted disks and rekeying on the embedded host."""

import copy
import os
import random

import deep
import hosts
import pyquelt

UUIDS = ["00000000-0000-4000-8000-00000000000%d" % number for number in range(10)]
DEKS = {"secret": "01" * 63 + "02", "other": "01" * 63 + "03"}

# One disk of each kind, KEKs of all sizes.
SCENARIO = {
    "kekId": "kek-a",
    "keys": [{"id": "kek-a", "key": "a1" * 32}, {"id": "kek-b", "attribute": "b", "key": "b2" * 32},
             {"id": "short", "key": "cc" * 31}, {"id": "long", "key": "cc" * 33},
             {"id": "far", "key": "cc" * 32},
             {"id": "k" * 79, "key": "dd" * 32}, {"id": "k" * 80, "key": "dd" * 32}],
    "disks": [
        {"name": "plain", "uuid": UUIDS[0]},
        {"name": "secret", "uuid": UUIDS[1], "encrypted": True, "dek": DEKS["secret"],
         "kekId": "kek-a", "clusterId": "kmip-a", "dekGenerationId": 7},
        {"name": "other", "uuid": UUIDS[2], "encrypted": True, "dek": DEKS["other"],
         "kekId": "kek-b", "dekGenerationId": 4294967295},
        {"name": "cloud", "uuid": UUIDS[3], "encrypted": True, "aws": {"wrappedDek": "ab" * 300}}],
    "kms": {"keys": {"kmip-a": ["kek-a"], "kmip-b": ["kek-b"], "c" * 256: ["far"]}}}

# Preparing calls, the call that is rejected, and its reason.
CLOUD_DEK = ('The DEK of disk "cloud" is not in the key cache, and the cloud KMS that could unwrap '
             'it cannot be reached from here')
NO_DEK = 'The DEK of disk "secret" cannot be unwrapped: '
TOO_LONG = "does not fit a disk's record: "
REJECTED = [
    ([], ("CacheKey", "id", "", b"x" * 4097), 'Key "id" has 4097 bytes; the key cache takes 4096'),
    ([], ("GetKeyFromKeyCache", "id"), 'Key "id" is not in the key cache'),
    ([], ("RemoveKey", "id"), 'Key "id" is not in the key cache'),
    ([], ("GetEncInfoForDisk", "none"), 'Disk "none" does not exist'),
    ([], ("GetWrappedDekFromDisk", "none"), 'Disk "none" does not exist'),
    ([], ("GetDekFromDisk", "none"), 'Disk "none" does not exist'),
    ([], ("GetDekFromDisk", "plain"), 'Disk "plain" is not encrypted'),
    ([], ("GetDekFromDisk", "cloud"), CLOUD_DEK),
    ([("CacheKey", UUIDS[3], "", b"d" * 63)], ("GetDekFromDisk", "cloud"), CLOUD_DEK),
    ([("CacheKey", "kek-a", "", b"\xa1" * 31 + b"\xa0")], ("GetDekFromDisk", "secret"),
     NO_DEK + 'KEK "kek-a" is not the one it was wrapped under, or the record was altered'),
    ([("CacheKey", "kek-a", "", b"")], ("GetDekFromDisk", "secret"),
     NO_DEK + 'KEK "kek-a" has 0 bytes; a KEK has 32'),
    ([("RemoveKey", "kek-a")], ("GetDekFromDisk", "secret"),
     NO_DEK + 'KEK "kek-a" is not in the key cache'),
    ([("SetKekId", "kek-b"), ("RemoveKey", "kek-a")], ("ShallowRekey", ["other", "secret"]),
     NO_DEK + 'KEK "kek-a" is not in the key cache'),
    ([("SetKekId", "kek-b")], ("ShallowRekey", ["secret", "none", "plain"]),
     'Disk "none" does not exist'),
    ([("SetKekId", "kek-b")], ("ShallowRekey", ["secret", "plain"]),
     'Disk "plain" is not encrypted'),
    ([("SetKekId", "kek-b")], ("ShallowRekey", ["secret", "cloud"]),
     'The DEK of disk "cloud" is under the cloud KMS, which cannot be reached from here'),
] + [([("SetKekId", kek)], change, reason) for kek, reason in (
    ("", "No KEK id is set"), ("none", 'KEK "none" is not in the key cache'),
    ("short", 'KEK "short" has 31 bytes; a KEK has 32'),
    ("long", 'KEK "long" has 33 bytes; a KEK has 32'),
    ("far", 'Cluster id "%s" %s255 bytes, none of them zero' % ("c" * 256, TOO_LONG)),
    ("k" * 80, 'KEK id "%s" %s79 bytes, none of them zero' % ("k" * 80, TOO_LONG))
) for change in (("SetEncryptionEnabled", 1), ("ShallowRekey", ["secret"]))]


def call(name, *args):
    return getattr(pyquelt, name)(*args)


def info(disk, *keys):
    return tuple(pyquelt.GetEncInfoForDisk(disk)[key] for key in keys)


class CryptoTest(hosts.HostTestCase):

    def setUp(self):
        self.assertEqual(self.load(SCENARIO), "")

    def assert_unchanged_by(self, outcome, *name_and_args):
        before = self.dump()
        self.assertEqual(hosts.outcome(call, *name_and_args), outcome)
        self.assertEqual(self.dump(), before)

    def test_rejected_call_raises_its_reason_and_changes_nothing(self):
        for before, rejected, text in REJECTED:
            self.setUp()
            for preparation in before:
                call(*preparation)
            with self.subTest(before=before, rejected=rejected[0]):
                self.assert_unchanged_by((ValueError, text), *rejected)

    def test_keys_and_identifiers_are_stored_unchanged(self):
        self.load({})
        self.assertEqual((pyquelt.GetKekId(), pyquelt.GetHostKeyId()), ("", ""))
        for ids in (("a", "b"), (u"\u20ac \n'\"", "x" * 100000), ("", " ")):
            pyquelt.SetKekId(ids[0])
            pyquelt.SetHostKeyId(ids[1])
            self.assertEqual((pyquelt.GetKekId(), pyquelt.GetHostKeyId()), ids)
            seen = self.dump()  # in another process
            self.assertEqual((seen.get("kekId", ""), seen.get("hostKeyId", "")), ids)
        pyquelt.CacheKey("ID", "", b"of another case")
        for key in (b"first", b"", b"\0" * 3, os.urandom(4096), b"last"):
            pyquelt.CacheKey("id", "attribute", key)
            pyquelt.CacheKey("", "", b"under an empty id")
            self.assertEqual(pyquelt.GetKeyFromKeyCache("id"), key)
        self.assertEqual({key["id"]: bytes.fromhex(key["key"]) for key in self.dump()["keys"]},
                         {"ID": b"of another case", "id": b"last", "": b"under an empty id"})
        pyquelt.RemoveKey("id")
        self.assertEqual(pyquelt.GetKeyFromKeyCache("ID"), b"of another case")

    def test_disk_reports_its_encryption_and_keys(self):
        for name, expected in (("plain", (False, False, False, "", "", 0)),
                               ("secret", (True, False, False, "kek-a", "kmip-a", 7)),
                               ("other", (True, False, False, "kek-b", "", 4294967295)),
                               ("cloud", (True, True, False, "", "", 0))):
            self.assertEqual(info(name, "encrypted", "useAwsKms", "dekInCache", "kekId",
                                  "clusterId", "dekGenerationId"), expected)
        self.assertEqual(pyquelt.GetWrappedDekFromDisk("cloud"), b"\xab" * 300)
        self.assertEqual(pyquelt.GetWrappedDekFromDisk("plain"), b"\0" * 64)
        for name in DEKS:
            self.assertEqual(pyquelt.GetDekFromDisk(name).hex(), DEKS[name])
            self.assertEqual(len(pyquelt.GetWrappedDekFromDisk(name)), 64)
        pyquelt.CacheKey(UUIDS[3], "", b"d" * 64)
        self.assertEqual(pyquelt.GetDekFromDisk("cloud"), b"d" * 64)

    def test_altered_record_is_rejected(self):
        state = self.dump()
        state["keys"].append({"id": "kek-c", "attribute": "", "key": "a1" * 32})
        record = next(disk for disk in state["disks"] if disk["name"] == "secret")
        altered = [("kekId", "kek-c"), ("clusterId", "kmip-b"), ("dekGenerationId", 6),
                   ("uuid", UUIDS[9])]
        for field, digits in record["wrapped"].items():
            bits = 4 * len(digits)
            for bit in range(bits) if deep.DEEP else (0, random.randrange(bits), bits - 1):
                flipped = "{:0{}x}".format(int(digits, 16) ^ (1 << bit), len(digits))
                altered.append(("wrapped", dict(record["wrapped"], **{field: flipped})))
        original = copy.deepcopy(record)
        for key, value in altered:
            record.update(original, **{key: value})
            self.assertEqual(self.load(state), "")
            with self.assertRaisesRegex(ValueError, "or the record was altered", msg=(key, value)):
                pyquelt.GetDekFromDisk("secret")

    def test_switching_on_encrypts_every_disk_with_a_strong_key(self):
        before = [pyquelt.GetWrappedDekFromDisk(disk) for disk in ("secret", "other", "cloud")]
        pyquelt.SetEncryptionEnabled(True)
        key = pyquelt.GetDekFromDisk("plain")
        self.assertNotEqual(key[:32], key[32:])
        self.assertEqual(pyquelt.GetKeyFromKeyCache(UUIDS[0]), key)
        self.assertEqual(pyquelt.GetEncInfoForDisk("plain"),
                         {"encrypted": True, "useAwsKms": False, "dekInCache": True,
                          "kekId": "kek-a", "clusterId": "kmip-a", "dekGenerationId": 1})
        self.assertEqual(before, [pyquelt.GetWrappedDekFromDisk(disk)
                                  for disk in ("secret", "other", "cloud")])
        self.assert_unchanged_by(None, "SetEncryptionEnabled", True)

    def test_switching_off_clears_flags_and_cached_deks(self):
        pyquelt.SetEncryptionEnabled(True)
        old = pyquelt.GetDekFromDisk("plain")
        pyquelt.SetEncryptionEnabled(False)
        names = ("plain", "secret", "other", "cloud")
        for name in names:
            self.assertEqual(info(name, "encrypted", "dekInCache"), (False, False))
            self.assert_raises_exactly(ValueError, 'Disk "%s" is not encrypted' % name,
                                       pyquelt.GetDekFromDisk, name)
        self.assert_unchanged_by(None, "SetEncryptionEnabled", False)
        state = self.dump()
        self.assertEqual(self.load(state), "")  # unencrypted disks keep their wrapped DEKs
        self.assertEqual(self.dump(), state)
        pyquelt.SetEncryptionEnabled(True)
        self.assertNotEqual(pyquelt.GetDekFromDisk("plain"), old)
        self.assertEqual([info(name, "dekGenerationId", "useAwsKms") for name in names],
                         [(2, False), (8, False), (0, False), (1, False)])

    def test_rekey_replaces_the_kek_and_preserves_the_dek(self):
        wrapped = {name: pyquelt.GetWrappedDekFromDisk(name) for name in DEKS}
        pyquelt.SetKekId("kek-b")
        pyquelt.ShallowRekey(["secret", "other", "secret"])
        pyquelt.RemoveKey("kek-a")
        for name, generation in (("secret", 7), ("other", 4294967295)):
            self.assertEqual(pyquelt.GetDekFromDisk(name).hex(), DEKS[name])
            self.assertNotEqual(pyquelt.GetWrappedDekFromDisk(name), wrapped[name])
            self.assertEqual(info(name, "kekId", "clusterId", "dekGenerationId"),
                             ("kek-b", "kmip-b", generation))
        pyquelt.SetKekId("k" * 79)
        pyquelt.ShallowRekey(["secret"])
        self.assertEqual(info("secret", "kekId"), ("k" * 79,))
        pyquelt.SetKekId("none")
        self.assert_unchanged_by(None, "ShallowRekey", [])
