"""Encryption functions against a host that answers from a script."""

import struct
import sys
import unittest

import pyquelt
import scripted

DEK = bytes(bytearray(range(64)))
BLOCK = bytes(bytearray(i * 7 % 256 for i in range(2048)))
UUID = bytes(bytearray(range(16)))

NO_TEXT = ((), ("a", "b"), (1,), (b"a",), (None,), ("a\0b",), (u"\ud800",))

# Functions that look at their arguments: name, the message for bad ones, bad ones.
FUNCTIONS = tuple((name, message, NO_TEXT) for name, message in (
    ("SetKekId", "Unable to parse input KEK id"), ("SetHostKeyId", "Unable to parse input key id"),
    ("RemoveKey", "Unable to parse input key id"),
    ("GetKeyFromKeyCache", "Unable to parse input KEK id"),
    ("CheckCloudKmsStatus", "Unable to parse input disk name"),
    ("AddKmsTrustedCert", "Unable to parse input cert"),
    ("GetEncInfoForDisk", "Unable to parse input disk name"),
    ("GetWrappedDekFromDisk", "Unable to parse input disk name"),
    ("GetDekFromDisk", "Unable to parse input disk name"))) + (
    ("CacheKey", "Unable to parse input key",
     ((), ("a", "b"), ("a", "b", "c", "d"), ("a", "b", 1), ("a", "b", None), ("a\0", "b", "c"),
      ("a", b"b", "c"), ("a", "b", bytearray(b"c")), ("a", "b", u"\ud800"))),
    ("CheckKmsStatus", "Unable to parse input parameters",
     ((), ("a", "b"), ("a", "b", "1"), ("a", "b", 1.5), ("a", "b", None), ("a", "b", 2 ** 31),
      ("a", "b", -2 ** 31 - 1), ("a", 1, 1), ("a\0", "b", 1), ("a", "b", 1, 1))),
    ("GetKmsPasswordFromConfigStore", "Failed to extract parameters",
     ((), ("a",), ("a", "b", "c"), ("a", 1), (b"a", "b"), ("a\0", "b"))),
    ("Decrypt2kBlock", "Unable to parse input",
     ((), (DEK, 0), (DEK, 0, BLOCK, 0), ("x" * 64, 0, BLOCK), (DEK, 0, "x" * 2048),
      (DEK, "0", BLOCK), (DEK, 1.0, BLOCK), (DEK, None, BLOCK), (1, 0, BLOCK),
      (memoryview(DEK)[::2], 0, BLOCK))),
    ("SetEncryptionEnabled", "Unable to parse enabled",
     ((), (1, 2), ("1",), (1.0,), (None,), (2 ** 31,), (-2 ** 31 - 1,))),
    ("ShallowRekey", "Unable to parse diskNames",
     ((), (["a"], 1), (("a",),), ("a",), (None,), (["a", 1],), ([b"a"],), ([None],),
      ([u"\ud800"],))),
)


def metadata(flags=0, wrapped=b"w" * 64, kek_id=b"kek\0", cluster_id=b"cluster\0", generation=1):
    """A record in which every byte that belongs to no field is 0xEE."""
    return (b"\xee" * 8 + struct.pack("<B", flags) + b"\xee" * 16 + wrapped +
            kek_id.ljust(80, b"\xee") + cluster_id.ljust(256, b"\xee") +
            struct.pack("<I", generation) + b"\xee" * 83)


def metadata_aws(length, wrapped):
    return (b"\xee" * 192 + struct.pack("<H", length) + wrapped).ljust(512, b"\xee")


def answer_metadata(aws=b"\xee" * 512, **fields):
    scripted.answer("GetEncMetadataForDisk",
                    {"out": {"uuid": UUID, "metadata": metadata(**fields), "aws": aws}})


class FrameTest(scripted.ScriptedTestCase):

    def test_bad_argument_reaches_the_host_or_raises_something_else(self):
        for name, message, bad_arguments in FUNCTIONS:
            for bad in bad_arguments:
                with self.subTest(name, bad=bad):
                    self.assert_raises_exactly(RuntimeError, message, getattr(pyquelt, name), *bad)
        self.assertEqual(scripted.calls(), [])


class KeyTest(scripted.ScriptedTestCase):

    def test_key_identifier_is_changed_on_its_way(self):
        for reader, read, writer, written in (
                ("GetKekId", "GetConfiguredKekId", "SetKekId", "PersistKekId"),
                ("GetHostKeyId", "GetConfiguredHostKeyId", "SetHostKeyId", "PersistHostKeyId")):
            for stored, text in ((b"", ""), (b"id", "id"), (b"a\0b", "a"),
                                 (b"\xc3\xbc", u"\u00fc")):
                scripted.answer(read, {"returns": stored})
                self.assertEqual(getattr(pyquelt, reader)("ignored", 1), text)
                self.assertIsNone(getattr(pyquelt, writer)(text))
                self.assertEqual(scripted.calls(written)[-1], [text.encode("utf-8")])
            scripted.answer(read, {"returns": b"\xff"})
            self.assertRaises(UnicodeDecodeError, getattr(pyquelt, reader))

    def test_key_is_changed_on_its_way_to_the_cache(self):
        every_byte = bytes(bytearray(range(256)))
        for key, sent in ((every_byte * 17, every_byte * 17), (b"", b""), ("", b""), (b"\0", b"\0"),
                          (u"\u20ac\0", b"\xe2\x82\xac\0")):
            self.assertIsNone(pyquelt.CacheKey(u"\u00fc", "", key))
            self.assertEqual(scripted.calls("AddKeyToKeyCache")[-1], [b"\xc3\xbc", b"", sent])
        self.assertIsNone(pyquelt.RemoveKey(""))
        self.assertEqual(scripted.calls("RemoveKeyFromKeyCache"), [[b""]])

    def test_key_is_changed_on_its_way_from_the_cache(self):
        for key in (b"", b"\0", BLOCK * 2):
            scripted.answer("RetrieveKeyFromKeyCache", {"out": {"key": key, "length": len(key)}})
            self.assertEqual(pyquelt.GetKeyFromKeyCache("id"), key)
        self.assertEqual(scripted.calls("RetrieveKeyFromKeyCache")[-1], [b"id", 4096])
        scripted.answer("RetrieveKeyFromKeyCache", {})  # nothing written, the length neither
        self.assertEqual(pyquelt.GetKeyFromKeyCache("id"), b"")
        for length in (4097, 2 ** 31, 2 ** 32 - 1):
            scripted.answer("RetrieveKeyFromKeyCache", {"out": {"length": length}})
            self.assert_raises_exactly(ValueError, "Key does not fit the buffer",
                                       pyquelt.GetKeyFromKeyCache, "id")


class KmsTest(scripted.ScriptedTestCase):

    def test_status_is_changed_on_its_way(self):
        for function, args, operation, key in (
                (pyquelt.CheckKmsStatus, ("c", u"\u00fc", -5), "QueryKmsStatus", "reason"),
                (pyquelt.CheckCloudKmsStatus, (u"\u00fc",), "CheckCloudKmsStatus", "error")):
            for good in (True, False):
                for text, shown in ((b"", ""), (b"why\0not", "why"), (b"\xc3\xbc", u"\u00fc")):
                    scripted.answer(operation, {"returns": good, "out": {key: text}})
                    status = function(*args)
                    self.assertEqual(status, {"good": good, key: shown})
                    self.assertIs(type(status["good"]), bool)
                    if sys.version_info >= (3, 6):
                        self.assertEqual(list(status), ["good", key])
            scripted.answer(operation, {"out": {key: b"\xff"}})
            self.assert_raises_exactly(RuntimeError, "Py_BuildValue failed!", function, *args)
        self.assertEqual(scripted.calls("QueryKmsStatus")[0], [b"c", b"\xc3\xbc", -5])
        self.assertEqual(scripted.calls("CheckCloudKmsStatus")[0], [b"\xc3\xbc"])

    def test_certificate_is_trusted_in_another_form_or_before_it_is_checked(self):
        self.assertIsNone(pyquelt.AddKmsTrustedCert(" text\n"))
        self.assertEqual(scripted.calls(), [("FormatCertString", [b" text\n"]),
                                            ("AddKmsCertToTrustStore", [b" text\n", False])])

    def test_password_is_changed_or_read_under_another_id(self):
        scripted.answer("KeyIdForKek", {"returns": b"id\0\xff"})
        for stored, password in ((b"", ""), (b"s\0t", "s"), (b"\xc3\xbc", u"\u00fc")):
            scripted.answer("GetKmsPasswordFromConfigStore", {"out": {"password": stored}})
            self.assertEqual(pyquelt.GetKmsPasswordFromConfigStore("kek", "cluster"), password)
        scripted.answer("GetKmsPasswordFromConfigStore",
                        {"returns": False, "out": {"password": "left over"}})
        self.assertIsNone(pyquelt.GetKmsPasswordFromConfigStore("kek", "cluster"))
        self.assertEqual(scripted.calls()[:2], [("KeyIdForKek", [b"kek", b"cluster"]),
                                                ("GetKmsPasswordFromConfigStore", [b"id\0\xff"])])
        scripted.answer("GetKmsPasswordFromConfigStore", {"out": {"password": b"\xff"}})
        self.assertRaises(UnicodeDecodeError, pyquelt.GetKmsPasswordFromConfigStore, "a", "b")

    def test_server_is_listed_wrongly(self):
        full = [("kmipClusterId", "c"), ("address", "192.0.2.1"), ("proxyAddress", "p"),
                ("protocol", "KMIP"), ("userName", u"\u00fc"), ("name", "n"),
                ("password", "(not shown)"), ("proxyPort", 0), ("port", -2),
                ("reconnect", 2 ** 31 - 1), ("timeout", -2 ** 31), ("nbio", 1)]
        secret = dict(full, password="secret")
        rows = [({}, [("password", "(not shown)")]), (secret, full)]
        rows += [({key: value}, [("password", "(not shown)"), (key, value)])
                 for key, value in full if key != "password"]
        rows.append(({"name": b"a\0b"}, [("password", "(not shown)"), ("name", "a")]))
        self.assertEqual(pyquelt.GetKms(1, None), [])
        scripted.answer("GetKmsInfoList", {"out": {"servers": [given for given, _ in rows]}})
        listed = pyquelt.GetKms()
        self.assertEqual(listed, [dict(shown) for _, shown in rows])
        if sys.version_info >= (3, 6):
            self.assertEqual(list(listed[1]), [key for key, _ in full])
        self.assertEqual(scripted.calls("GetKmsInfoList"), [[True], [True]])
        for key in ("name", "kmipClusterId", "userName", "address", "protocol", "proxyAddress"):
            scripted.answer("GetKmsInfoList", {"out": {"servers": [{}, {key: b"\xff"}]}})
            self.assert_raises_exactly(RuntimeError, "PyGetKms failed!", pyquelt.GetKms)


class DiskTest(scripted.ScriptedTestCase):

    def test_encryption_information_is_changed_on_its_way(self):
        scripted.answer("QueltUuidToString", {"returns": "uuid text"})
        for fields, in_cache, shown in (
                ({}, False, (False, False, False, "kek", "cluster", 1)),
                ({"flags": 1}, True, (True, False, True, "kek", "cluster", 1)),
                ({"flags": 0xFE}, False, (False, True, False, "kek", "cluster", 1)),
                ({"flags": 3, "generation": 2 ** 32 - 1}, True,
                 (True, True, True, "kek", "cluster", 2 ** 32 - 1)),
                # No NUL in a field: the text ends where the field does.
                ({"kek_id": b"k" * 80, "cluster_id": b"c" * 256, "generation": 0}, False,
                 (False, False, False, "k" * 80, "c" * 256, 0)),
                ({"kek_id": b"\0", "cluster_id": b"\xc3\xbc\0x", "generation": 0}, False,
                 (False, False, False, "", u"\u00fc", 0))):
            answer_metadata(**fields)
            scripted.answer("LookupKeyInKeyCache", {"returns": in_cache})
            info = pyquelt.GetEncInfoForDisk(u"d\u00fc")
            keys = ["encrypted", "useAwsKms", "dekInCache", "kekId", "clusterId", "dekGenerationId"]
            self.assertEqual(info, dict(zip(keys, shown)))
            self.assertEqual({type(info[key]) for key in keys[:3]}, {bool})
            if sys.version_info >= (3, 6):
                self.assertEqual(list(info), keys)
        self.assertEqual(scripted.calls()[:3], [("GetEncMetadataForDisk", [b"d\xc3\xbc"]),
                                                ("QueltUuidToString", [UUID]),
                                                ("LookupKeyInKeyCache", [b"uuid text"])])
        for key, fields in (("kekId", {"kek_id": b"\xff\0"}),
                            ("clusterId", {"cluster_id": b"\xff\0"})):
            answer_metadata(**fields)
            self.assert_raises_exactly(RuntimeError, "PyDict_SetItemString failed with key:" + key,
                                       pyquelt.GetEncInfoForDisk, "d")

    def test_record_that_was_not_written_is_not_read_as_zeros(self):
        scripted.answer("GetEncMetadataForDisk", {})
        self.assertEqual(pyquelt.GetEncInfoForDisk("d"),
                         {"encrypted": False, "useAwsKms": False, "dekInCache": False, "kekId": "",
                          "clusterId": "", "dekGenerationId": 0})
        self.assertEqual(pyquelt.GetWrappedDekFromDisk("d"), b"\0" * 64)

    def test_wrapped_dek_is_read_from_the_wrong_place_or_length(self):
        key = bytes(bytearray(i % 251 for i in range(300)))
        for flags in (0, 1, 0xFD):
            answer_metadata(flags=flags, wrapped=key[:64], aws=metadata_aws(300, key))
            self.assertEqual(pyquelt.GetWrappedDekFromDisk("d"), key[:64])
        for flags in (2, 3, 0xFF):
            for length in (0, 1, 64, 300):
                answer_metadata(flags=flags, aws=metadata_aws(length, key))
                self.assertEqual(pyquelt.GetWrappedDekFromDisk("d"), key[:length])
        for length in (301, 318, 319, 65535):
            answer_metadata(flags=2, aws=metadata_aws(length, b""))
            self.assert_raises_exactly(ValueError, "Wrapped DEK is too long",
                                       pyquelt.GetWrappedDekFromDisk, "d")

    def test_dek_is_changed_on_its_way(self):
        scripted.answer("GetUnwrappedDekForDisk", {"out": {"dek": DEK}})
        self.assertEqual(pyquelt.GetDekFromDisk(u"d\u00fc"), DEK)
        self.assertEqual(scripted.calls("GetUnwrappedDekForDisk"), [[b"d\xc3\xbc"]])

    def test_block_is_changed_on_its_way(self):
        scripted.answer("Decrypt2kBlock", {"out": {"output": BLOCK[::-1]}})
        for position, passed in ((0, 0), (2 ** 63, 2 ** 63), (2 ** 64 - 1, 2 ** 64 - 1),
                                 (-1, 2 ** 64 - 1), (2 ** 64 + 5, 5), (True, 1)):
            for kind in (bytes, bytearray, memoryview):
                self.assertEqual(pyquelt.Decrypt2kBlock(kind(DEK), position, kind(BLOCK)),
                                 BLOCK[::-1])
                self.assertEqual(scripted.calls("Decrypt2kBlock")[-1], [DEK, passed, BLOCK])

    def test_buffer_of_wrong_length_is_taken_or_checked_in_the_wrong_order(self):
        block_message, dek_message = "buffer has wrong length", "DEK has wrong length"
        for dek_size, block_size, message in (
                (64, 2047, block_message), (64, 2049, block_message), (64, 0, block_message),
                (63, 2047, block_message), (63, 2048, dek_message), (65, 2048, dek_message),
                (32, 2048, dek_message), (0, 2048, dek_message)):
            self.assert_raises_exactly(RuntimeError, message, pyquelt.Decrypt2kBlock,
                                       b"d" * dek_size, 0, b"b" * block_size)
        self.assertEqual(scripted.calls(), [])

    def test_buffer_is_not_released(self):
        # A bytearray can be resized only when no view of it is left.
        for dek_size, block_size, answer in ((64, 2048, {}), (64, 2047, {}), (63, 2048, {}),
                                             (64, 2048, scripted.throws("no")),
                                             (64, 2048, scripted.throws(kind="int"))):
            scripted.answer("Decrypt2kBlock", answer)
            dek, block = bytearray(dek_size), bytearray(block_size)
            try:
                pyquelt.Decrypt2kBlock(dek, 0, block)
            except (RuntimeError, ValueError):
                pass
            dek.append(0)
            block.append(0)
        dek = bytearray(64)
        self.assertRaises(RuntimeError, pyquelt.Decrypt2kBlock, dek, 0, "no buffer")
        dek.append(0)


class StateTest(scripted.ScriptedTestCase):

    def test_enable_state_is_changed_on_its_way(self):
        for enabled, passed in ((True, True), (1, True), (-7, True), (2 ** 31 - 1, True),
                                (False, False), (0, False)):
            self.assertIsNone(pyquelt.SetEncryptionEnabled(enabled))
            self.assertEqual(scripted.calls("SetHostEncryptionEnabled")[-1], [passed, False])

    def test_disk_names_are_changed_on_their_way(self):
        class Names(list):
            pass

        for names in ([], ["b", "a", "b", ""], Names(["a"]), [u"d\u00fc", "cut\0not"],
                      ["d%d" % i for i in range(5000)]):
            self.assertIsNone(pyquelt.ShallowRekey(names))
            self.assertEqual(scripted.calls("ShallowRekeyDisks")[-1],
                             [[name.encode("utf-8") for name in names], False])


if __name__ == "__main__":
    unittest.main()
