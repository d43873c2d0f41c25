"""Encryption functions, on the scripted host."""

import struct
import unittest
from collections import OrderedDict

import fault_rows
from fault_rows import crypto as table
from rows import RowTestCase, call, op, text_rows
from scripted import out, returns

DEK = bytes(bytearray(range(64)))
BLOCK = bytes(bytearray(i * 7 % 256 for i in range(2048)))
UUID = bytes(bytearray(range(16)))
EVERY_BYTE = bytes(bytearray(range(256)))
DISK = u"d\u00fc"


def disk(flags=0, wrapped=b"w" * 64, kek_id=b"kek\0", cluster_id=b"cluster\0", generation=1,
         aws=(0xEEEE, b"")):
    """The host's records of a disk, in which every byte that belongs to no field is 0xEE."""
    metadata = (b"\xee" * 8 + struct.pack("<B", flags) + b"\xee" * 16 + wrapped +
                kek_id.ljust(80, b"\xee") + cluster_id.ljust(256, b"\xee") +
                struct.pack("<I", generation) + b"\xee" * 83)
    aws = (b"\xee" * 192 + struct.pack("<H", aws[0]) + aws[1]).ljust(512, b"\xee")
    return {"GetEncMetadataForDisk": out(uuid=UUID, metadata=metadata, aws=aws)}


class KeyTest(RowTestCase):

    def test_key_identifiers_are_read_and_stored_unchanged(self):
        for reader, read, writer, written in (
                ("GetKekId", "GetConfiguredKekId", "SetKekId", "PersistKekId"),
                ("GetHostKeyId", "GetConfiguredHostKeyId", "SetHostKeyId", "PersistHostKeyId")):
            self.check_rows(text_rows(getattr(call, reader)(), lambda text: {read: returns(text)},
                                      lambda text: text))
            self.check_rows((getattr(call, writer)(text), {}, None, [getattr(op, written)(stored)])
                            for text, stored in (("", b""), (u"\u00fc", b"\xc3\xbc")))

    def test_keys_reach_the_cache_unchanged(self):
        self.check_rows([
            (call.CacheKey(u"\u00fc", "", key), {}, None,
             [op.AddKeyToKeyCache(b"\xc3\xbc", b"", sent, len(sent))])
            for key, sent in ((EVERY_BYTE * 17, EVERY_BYTE * 17), (b"", b""), ("", b""),
                              (b"\0", b"\0"), (u"\u20ac\0", b"\xe2\x82\xac\0"))] + [
            (call.RemoveKey(""), {}, None, [op.RemoveKeyFromKeyCache(b"")])])

    def test_keys_of_up_to_4096_bytes_are_read_from_the_cache(self):
        asked = [op.RetrieveKeyFromKeyCache(b"id", 4096)]
        self.check_rows([
            (call.GetKeyFromKeyCache("id"),
             {"RetrieveKeyFromKeyCache": out(buffer=key, length=len(key))}, key, asked)
            for key in (b"", b"\0", BLOCK * 2)] + [
            (call.GetKeyFromKeyCache("id"), {"RetrieveKeyFromKeyCache": out(length=length)},
             table.LONG_KEY, asked)
            for length in (4097, 2 ** 31, 2 ** 32 - 1)] + [
            (call.GetKeyFromKeyCache("id"), {}, b"", asked)])  # no output written


class KmsTest(RowTestCase):

    def test_kms_status_is_returned_as_reported(self):
        for made, key, asked in (
                (call.CheckKmsStatus("c", u"\u00fc", -5), "reason",
                 op.QueryKmsStatus(b"c", b"\xc3\xbc", -5)),
                (call.CheckCloudKmsStatus(u"\u00fc"), "error",
                 op.CheckCloudKmsStatus(b"\xc3\xbc"))):
            for available in (True, False):
                self.check_rows([row[:3] + ([asked],) for row in text_rows(
                    made, lambda text: {asked[0]: returns(available, **{key: text})},
                    lambda text: OrderedDict([("good", available), (key, text)]),
                    table.NOT_BUILT)])

    def test_certificate_is_validated_and_then_trusted_as_given(self):
        self.check_rows([(
            call.AddKmsTrustedCert(" text\n"), {}, None,
            [op.FormatCertString(b" text\n"), op.AddKmsCertToTrustStore(b" text\n", False)])])

    def test_password_is_read_under_the_key_id_of_the_kek(self):
        def answers(answer):
            return {"KeyIdForKek": returns(b"id\0\xff"), "GetKmsPasswordFromConfigStore": answer}

        made = call.GetKmsPasswordFromConfigStore("kek", "cluster")
        self.check_rows(
            text_rows(made, lambda text: answers(out(password=text)), lambda text: text) +
            [(made, answers(returns(False, password="left over")), None,
              [op.KeyIdForKek(b"kek", b"cluster"),
               op.GetKmsPasswordFromConfigStore(b"id\0\xff")])])

    def test_server_is_listed_without_its_password(self):
        full = [("kmipClusterId", "c"), ("address", "192.0.2.1"), ("proxyAddress", "p"),
                ("protocol", "KMIP"), ("userName", u"\u00fc"), ("name", "n"),
                ("password", "(not shown)"), ("proxyPort", 0), ("port", -2),
                ("reconnect", 2 ** 31 - 1), ("timeout", -2 ** 31), ("nbio", 1)]
        servers = [({}, {}), (dict(full, password="secret"), dict(full)),
                   ({"name": b"a\0b"}, {"name": "a"})]
        servers += [({key: value}, {key: value}) for key, value in full if key != "password"]
        self.check_rows([(call.GetKms(), {}, [], [op.GetKmsInfoList(True)]), (
            call.GetKms(), {"GetKmsInfoList": returns([given for given, _ in servers])},
            [OrderedDict((key, shown.get(key, value)) for key, value in full
                         if key in shown or key == "password") for _, shown in servers],
            [op.GetKmsInfoList(True)])] + [
            (call.GetKms(), {"GetKmsInfoList": returns([{}, {key: b"\xff"}])},
             table.SERVER, None)
            for key in ("name", "kmipClusterId", "userName", "address", "protocol",
                        "proxyAddress")])


class DiskTest(RowTestCase):

    def test_encryption_information_comes_from_the_fields_of_the_records(self):
        keys = ["encrypted", "useAwsKms", "dekInCache", "kekId", "clusterId", "dekGenerationId"]
        asked = [op.GetEncMetadataForDisk(b"d\xc3\xbc"), op.QueltUuidToString(UUID),
                 op.LookupKeyInKeyCache(b"uuid text")]
        self.check_rows([
            (call.GetEncInfoForDisk(DISK),
             dict(records, QueltUuidToString=returns("uuid text"),
                  LookupKeyInKeyCache=returns(shown[2])),
             OrderedDict(zip(keys, shown)), asked)
            for records, shown in (
                (disk(), (False, False, False, "kek", "cluster", 1)),
                (disk(flags=1), (True, False, True, "kek", "cluster", 1)),
                (disk(flags=0xFE), (False, True, False, "kek", "cluster", 1)),
                (disk(flags=3, generation=2 ** 32 - 1),
                 (True, True, True, "kek", "cluster", 2 ** 32 - 1)),
                # A field without a zero byte: the text has the length of the field.
                (disk(kek_id=b"k" * 80, cluster_id=b"c" * 256, generation=0),
                 (False, False, False, "k" * 80, "c" * 256, 0)),
                (disk(kek_id=b"\0", cluster_id=b"\xc3\xbc\0x", generation=0),
                 (False, False, False, "", u"\u00fc", 0)))] + [
            (call.GetEncInfoForDisk("d"), records,
             fault_rows.ITEM(key=key), None)
            for key, records in (("kekId", disk(kek_id=b"\xff\0")),
                                 ("clusterId", disk(cluster_id=b"\xff\0")))] + [
            # A record that the host did not write is zero.
            (call.GetEncInfoForDisk("d"), {},
             OrderedDict(zip(keys, (False, False, False, "", "", 0))), None)])

    def test_dek_comes_from_the_record_that_the_flags_select(self):
        key = bytes(bytearray(i % 251 for i in range(300)))
        self.check_rows((call.GetWrappedDekFromDisk(DISK), records, dek,
                         [op.GetEncMetadataForDisk(b"d\xc3\xbc")]) for records, dek in [
            (disk(flags=flags, wrapped=key[:64], aws=(300, key)), key[:64])
            for flags in (0, 1, 0xFD)] + [
            (disk(flags=flags, aws=(length, key)), key[:length])
            for flags in (2, 3, 0xFF) for length in (0, 1, 64, 300)] + [
            (disk(flags=2, aws=(length, b"")), table.LONG_DEK)
            for length in (301, 318, 319, 65535)] + [({}, b"\0" * 64)])
        self.check_rows([(call.GetDekFromDisk(DISK), {"GetUnwrappedDekForDisk": out(dek=DEK)}, DEK,
                          [op.GetUnwrappedDekForDisk(b"d\xc3\xbc")])])

    def test_block_is_decrypted_from_any_buffer_at_any_position(self):
        self.check_rows(
            (call.Decrypt2kBlock(kind(DEK), position, kind(BLOCK)),
             {"Decrypt2kBlock": out(output=BLOCK[::-1])}, BLOCK[::-1],
             [op.Decrypt2kBlock(DEK, passed, BLOCK)])
            for position, passed in ((0, 0), (2 ** 63, 2 ** 63), (2 ** 64 - 1, 2 ** 64 - 1),
                                     (-1, 2 ** 64 - 1), (2 ** 64 + 5, 5), (True, 1))
            for kind in (bytes, bytearray, memoryview))


class StateTest(RowTestCase):

    def test_enable_state_reaches_the_host_as_a_flag(self):
        self.check_rows((call.SetEncryptionEnabled(enabled), {}, None,
                         [op.SetHostEncryptionEnabled(passed, False)])
                        for enabled, passed in ((True, True), (1, True), (-7, True), (0, False),
                                                (2 ** 31 - 1, True), (False, False)))

    def test_disk_names_reach_the_host_in_order(self):
        class Names(list):
            pass

        self.check_rows((call.ShallowRekey(names), {}, None, [
            op.ShallowRekeyDisks([name.encode("utf-8") for name in names], False)]) for names in (
                [], ["b", "a", "b", ""], Names(["a"]), [DISK, "cut\0not"],
                ["d%d" % i for i in range(5000)]))


if __name__ == "__main__":
    unittest.main()
