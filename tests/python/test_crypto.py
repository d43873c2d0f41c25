"""Keys, encrypted disks and rekeying on the embedded host."""

import copy
import os
import random
import unittest

import deep
import hosts
import pyquelt

KEK_A, KEK_B = "kek-a", "kek-b"
PLAIN, SECRET, OTHER, CLOUD = "plain", "secret", "other", "cloud"


def disk_uuid(index):
    return "00000000-0000-4000-8000-{:012x}".format(index)


def dek(index):
    return "{:0128x}".format(index + 1)


def scenario(**changes):
    """A host with one disk of each kind; `changes` replace top-level keys."""
    document = {
        "kekId": KEK_A,
        "keys": [{"id": KEK_A, "key": "a1" * 32}, {"id": KEK_B, "attribute": "b", "key": "b2" * 32},
                 {"id": "short", "key": "cc" * 31}, {"id": "long", "key": "cc" * 33},
                 {"id": "k" * 79, "key": "dd" * 32}, {"id": "k" * 80, "key": "dd" * 32}],
        "disks": [
            {"name": PLAIN, "uuid": disk_uuid(0)},
            {"name": SECRET, "uuid": disk_uuid(1), "encrypted": True, "dek": dek(1), "kekId": KEK_A,
             "clusterId": "kmip-a", "dekGenerationId": 7},
            {"name": OTHER, "uuid": disk_uuid(2), "encrypted": True, "dek": dek(2), "kekId": KEK_B,
             "dekGenerationId": 4294967295},
            {"name": CLOUD, "uuid": disk_uuid(3), "encrypted": True,
             "aws": {"wrappedDek": "ab" * 300}},
        ],
        "kms": {"keys": {"kmip-a": [KEK_A], "kmip-b": [KEK_B]}},
    }
    document.update(changes)
    return document


class CryptoTestCase(hosts.HostTestCase):

    def assert_refused(self, text, function, *args):
        """A ValueError with this text, and nothing changed."""
        before = self.dump()
        self.assert_raises_exactly(ValueError, text, function, *args)
        self.assertEqual(self.dump(), before)


class KeyTest(CryptoTestCase):

    def test_key_identifier_is_lost_or_changed(self):
        self.assertEqual((pyquelt.GetKekId(), pyquelt.GetHostKeyId()), ("", ""))
        for kek_id, host_key_id in (("a", "b"), (u"\u20ac \n'\"", "x" * 100000), ("", " ")):
            pyquelt.SetKekId(kek_id)
            pyquelt.SetHostKeyId(host_key_id)
            seen = self.script("import pyquelt; print(ascii((pyquelt.GetKekId(), "
                               "pyquelt.GetHostKeyId())))")
            self.assertEqual(seen.strip(), ascii((kek_id, host_key_id)))

    def test_key_cache_loses_changes_or_mixes_keys(self):
        for key in (b"first", b"", b"\0" * 3, os.urandom(4096), b"last"):
            pyquelt.CacheKey("id", "attribute", key)
            self.assertEqual(pyquelt.GetKeyFromKeyCache("id"), key)
        pyquelt.CacheKey("ID", "", b"of another case")
        pyquelt.CacheKey("", "", b"under an empty id")
        self.assertEqual(self.script("import pyquelt; print(pyquelt.GetKeyFromKeyCache('id') + "
                                     "pyquelt.GetKeyFromKeyCache(''))"),
                         "{}\n".format(b"lastunder an empty id"))
        self.assert_refused('Key "id" has 4097 bytes; the key cache takes 4096',
                            pyquelt.CacheKey, "id", "", b"x" * 4097)
        pyquelt.RemoveKey("id")
        for function in (pyquelt.GetKeyFromKeyCache, pyquelt.RemoveKey):
            self.assert_refused('Key "id" is not in the key cache', function, "id")
        self.assertEqual(pyquelt.GetKeyFromKeyCache("ID"), b"of another case")


class DiskTest(CryptoTestCase):

    def setUp(self):
        self.assertEqual(self.load(scenario()), "")

    def test_disk_shows_other_information_than_it_has(self):
        for name, info in ((PLAIN, (False, False, False, "", "", 0)),
                           (SECRET, (True, False, False, KEK_A, "kmip-a", 7)),
                           (OTHER, (True, False, False, KEK_B, "", 4294967295)),
                           (CLOUD, (True, True, False, "", "", 0))):
            keys = ("encrypted", "useAwsKms", "dekInCache", "kekId", "clusterId", "dekGenerationId")
            self.assertEqual(pyquelt.GetEncInfoForDisk(name), dict(zip(keys, info)))
        self.assertEqual(pyquelt.GetWrappedDekFromDisk(CLOUD), b"\xab" * 300)
        self.assertEqual(pyquelt.GetWrappedDekFromDisk(PLAIN), b"\0" * 64)
        for name, index in ((SECRET, 1), (OTHER, 2)):
            self.assertEqual(pyquelt.GetDekFromDisk(name), bytes(bytearray.fromhex(dek(index))))
            self.assertEqual(len(pyquelt.GetWrappedDekFromDisk(name)), 64)
        for function in (pyquelt.GetEncInfoForDisk, pyquelt.GetWrappedDekFromDisk,
                         pyquelt.GetDekFromDisk):
            self.assert_refused('Disk "none" does not exist', function, "none")

    def test_dek_is_given_out_that_cannot_be_known(self):
        self.assert_refused('Disk "plain" is not encrypted', pyquelt.GetDekFromDisk, PLAIN)
        refusal = ('The DEK of disk "cloud" is not in the key cache, and the cloud KMS that could '
                   'unwrap it cannot be reached from here')
        self.assert_refused(refusal, pyquelt.GetDekFromDisk, CLOUD)
        pyquelt.CacheKey(disk_uuid(3), "", b"d" * 63)
        self.assert_refused(refusal, pyquelt.GetDekFromDisk, CLOUD)
        pyquelt.CacheKey(disk_uuid(3), "", b"d" * 64)
        self.assertEqual(pyquelt.GetDekFromDisk(CLOUD), b"d" * 64)
        for key, reason in (
                (b"\xa1" * 31 + b"\xa0",
                 'KEK "kek-a" is not the one it was wrapped under, or the record was altered'),
                (b"\xa1" * 31, 'KEK "kek-a" has 31 bytes; a KEK has 32'),
                (b"", 'KEK "kek-a" has 0 bytes; a KEK has 32'),
                (None, 'KEK "kek-a" is not in the key cache')):
            if key is None:
                pyquelt.RemoveKey(KEK_A)
            else:
                pyquelt.CacheKey(KEK_A, "", key)
            self.assert_refused('The DEK of disk "secret" cannot be unwrapped: ' + reason,
                                pyquelt.GetDekFromDisk, SECRET)

    def test_altered_record_is_unwrapped(self):
        state = self.dump()
        state["keys"].append({"id": "kek-c", "attribute": "", "key": "a1" * 32})
        record = next(disk for disk in state["disks"] if disk["name"] == SECRET)

        def flipped(digits, bit):
            number = int(digits, 16) ^ (1 << bit)
            return "{:0{}x}".format(number, len(digits))

        altered = [("kekId", "kek-c"), ("clusterId", "kmip-b"), ("dekGenerationId", 6),
                   ("uuid", disk_uuid(9))]
        altered += [("wrapped", dict(record["wrapped"], **{field: flipped(digits, bit)}))
                    for field, digits in record["wrapped"].items()
                    for bit in (range(4 * len(digits)) if deep.DEEP
                                else (0, random.randrange(4 * len(digits)), 4 * len(digits) - 1))]
        for key, value in altered:
            changed = copy.deepcopy(state)
            next(disk for disk in changed["disks"] if disk["name"] == SECRET)[key] = value
            self.assertEqual(self.load(changed), "")
            with self.assertRaises(ValueError) as caught:
                pyquelt.GetDekFromDisk(SECRET)
            self.assertIn("or the record was altered", str(caught.exception), (key, value))


class StateTest(CryptoTestCase):

    def setUp(self):
        self.assertEqual(self.load(scenario()), "")

    def test_switching_on_leaves_disks_out_or_keys_weak(self):
        before = {name: pyquelt.GetWrappedDekFromDisk(name) for name in (SECRET, OTHER, CLOUD)}
        pyquelt.SetEncryptionEnabled(True)
        key = pyquelt.GetDekFromDisk(PLAIN)
        self.assertNotEqual(key[:32], key[32:])
        self.assertEqual(pyquelt.GetKeyFromKeyCache(disk_uuid(0)), key)
        self.assertEqual(pyquelt.GetEncInfoForDisk(PLAIN),
                         {"encrypted": True, "useAwsKms": False, "dekInCache": True, "kekId": KEK_A,
                          "clusterId": "kmip-a", "dekGenerationId": 1})
        for name, wrapped in before.items():
            self.assertEqual(pyquelt.GetWrappedDekFromDisk(name), wrapped)
        state = self.dump()
        pyquelt.SetEncryptionEnabled(True)
        self.assertEqual(self.dump(), state)

    def test_switching_off_leaves_flags_or_cached_deks(self):
        pyquelt.SetEncryptionEnabled(True)
        old = pyquelt.GetDekFromDisk(PLAIN)
        pyquelt.SetEncryptionEnabled(False)
        for name in (PLAIN, SECRET, OTHER, CLOUD):
            info = pyquelt.GetEncInfoForDisk(name)
            self.assertEqual((info["encrypted"], info["dekInCache"]), (False, False))
            self.assert_refused('Disk "{}" is not encrypted'.format(name),
                                pyquelt.GetDekFromDisk, name)
        state = self.dump()
        pyquelt.SetEncryptionEnabled(False)
        self.assertEqual(self.dump(), state)
        self.assertEqual(self.load(state), "")  # wrapped DEKs of disks that are off stay
        self.assertEqual(self.dump(), state)
        pyquelt.SetEncryptionEnabled(True)
        self.assertNotEqual(pyquelt.GetDekFromDisk(PLAIN), old)
        self.assertEqual([pyquelt.GetEncInfoForDisk(name)["dekGenerationId"]
                          for name in (PLAIN, SECRET, OTHER, CLOUD)], [2, 8, 0, 1])
        self.assertFalse(pyquelt.GetEncInfoForDisk(CLOUD)["useAwsKms"])

    def test_refused_change_of_the_kek_changes_something(self):
        fitting = "does not fit a disk's record: {} bytes, none of them zero"
        for kek_id, reason in (
                ("", "No KEK id is set"),
                ("none", 'KEK "none" is not in the key cache'),
                ("short", 'KEK "short" has 31 bytes; a KEK has 32'),
                ("long", 'KEK "long" has 33 bytes; a KEK has 32'),
                ("k" * 80, 'KEK id "{}" '.format("k" * 80) + fitting.format(79))):
            pyquelt.SetKekId(kek_id)
            self.assert_refused(reason, pyquelt.SetEncryptionEnabled, 1)
            self.assert_refused(reason, pyquelt.ShallowRekey, [SECRET])
        self.load(scenario(kms={"keys": {"c" * 256: [KEK_A]}}))
        self.assert_refused('Cluster id "{}" '.format("c" * 256) + fitting.format(255),
                            pyquelt.ShallowRekey, [OTHER])
        pyquelt.SetKekId("k" * 79)
        pyquelt.ShallowRekey([SECRET])
        self.assertEqual(pyquelt.GetEncInfoForDisk(SECRET)["kekId"], "k" * 79)

    def test_rekey_changes_the_dek_or_keeps_the_kek(self):
        wrapped = {name: pyquelt.GetWrappedDekFromDisk(name) for name in (SECRET, OTHER)}
        pyquelt.SetKekId(KEK_B)
        pyquelt.ShallowRekey([SECRET, OTHER, SECRET])
        pyquelt.RemoveKey(KEK_A)
        for name, index, generation in ((SECRET, 1, 7), (OTHER, 2, 4294967295)):
            self.assertEqual(pyquelt.GetDekFromDisk(name), bytes(bytearray.fromhex(dek(index))))
            self.assertNotEqual(pyquelt.GetWrappedDekFromDisk(name), wrapped[name])
            info = pyquelt.GetEncInfoForDisk(name)
            self.assertEqual((info["kekId"], info["clusterId"], info["dekGenerationId"]),
                             (KEK_B, "kmip-b", generation))

    def test_refused_rekey_changes_something(self):
        pyquelt.SetKekId(KEK_B)
        for names, reason in (
                ([SECRET, "none", PLAIN], 'Disk "none" does not exist'),
                ([SECRET, PLAIN], 'Disk "plain" is not encrypted'),
                ([SECRET, CLOUD], 'The DEK of disk "cloud" is under the cloud KMS, which cannot be '
                                  'reached from here')):
            self.assert_refused(reason, pyquelt.ShallowRekey, names)
        pyquelt.RemoveKey(KEK_A)
        self.assert_refused('The DEK of disk "secret" cannot be unwrapped: KEK "kek-a" is not in '
                            'the key cache', pyquelt.ShallowRekey, [OTHER, SECRET])
        pyquelt.SetKekId("none")
        state = self.dump()
        pyquelt.ShallowRekey([])
        self.assertEqual(self.dump(), state)


if __name__ == "__main__":
    unittest.main()
