"""Objects, disks and host facts, on the scripted host."""

import unittest
from collections import OrderedDict

import fault_rows
from fault_rows import objects as table
from rows import RowTestCase, call, op, text_rows
from scripted import out, returns

ZEROS = b"\0" * 16
NO_UUID = "00000000-0000-0000-0000-000000000000"
UUID = "00112233-4455-6677-8899-aabbccddeeff"
UUID_BYTES = bytes(bytearray(range(0, 256, 17)))
CID = "1122334455667788-99aabbccddeeff00"
CID_BYTES = UUID_BYTES[1:] + b"\0"
TEXT = u"gr\u00fc\u00df"


class ChangesTest(RowTestCase):

    def test_object_changes_reach_the_library_unchanged(self):
        self.check_rows([
            (call.CreateObject(**keywords), {}, NO_UUID, [op.ObjUtil_Create(*arguments)])
            for keywords, arguments in (
                ({}, [ZEROS, None, None, None, 4, 0, -1, False, ZEROS, 0]),
                (dict(ufn=TEXT, haMetaData="", policy="p", allocType=-1, size=2 ** 63,
                      capabilities=7, ignoreExtAttr=[0], groupUuid=UUID.upper() + "tail",
                      objClass=99, cid=CID),
                 [CID_BYTES, TEXT.encode("utf-8"), b"", b"p", -1, 2 ** 63, 7, True, UUID_BYTES,
                  99]),
                (dict(size=-1, ignoreExtAttr=[]),
                 [ZEROS, None, None, None, 4, 2 ** 64 - 1, -1, False, ZEROS, 0]))] + [
            (call.CreateObject(), {"ObjUtil_Create": out(uuid=UUID_BYTES)}, UUID, None),
            (call.DeleteObject(UUID), {}, None,
             [op.ObjUtil_Delete(ZEROS, UUID_BYTES, False, True, True)]),
            (call.DeleteObject(uuid=UUID, force="yes", cid=CID), {}, None,
             [op.ObjUtil_Delete(CID_BYTES, UUID_BYTES, True, True, True)])])


class IdentifierTextTest(RowTestCase):

    def test_bytes_may_have_blanks_or_a_sign_and_a_tail_is_ignored(self):
        self.check_rows(
            (call.DeleteObject(start + UUID[2:] + "-1", cid=start + CID[2:] + " z"), {}, None,
             [op.ObjUtil_Delete(byte + CID_BYTES[1:], byte + UUID_BYTES[1:], False, True, True)])
            for start, byte in ((" 00", b"\0"), ("\t\n +f", b"\x0f"), ("-1", b"\xff"),
                                ("aB", b"\xab")))

    def test_rejects_other_digits_separators_and_numbers_of_bytes(self):
        self.check_rows([(call.DeleteObject(text, cid="y"), {}, table.UUID(uuid=text), [])
                         for text in ["", UUID[:34], "g" + UUID, u"\u00e9" + UUID] +
                         [UUID[:i] + UUID[i + 1:] for i in (8, 13, 18, 23)]] +
                        [(call.DeleteObject(UUID, cid=text), {}, table.CID(cid=text), [])
                         for text in ("", CID[:31], "g" + CID, CID[:16] + CID[17:])])


def library(classes=(1, 2, 3), **more):
    """Answers of a library whose objects have these classes, in the order of the calls."""
    return dict({"ObjLib_GetURIPrefix": returns("q://"), "IsObjectAccessible": out(accessible=1),
                 "ObjLib_GetExtParams": [out(objClass=number) for number in classes]}, **more)


def attributes(number, ufn="", path=""):
    return OrderedDict([("ufn", ufn), ("objPath", path), ("objClass", number)])


OPENED = [op.ObjLib_Init(), op.ObjLib_GetURIPrefix(3)]


class ExtAttrsTest(RowTestCase):

    def test_attributes_are_read_object_by_object(self):
        upper = UUID.upper() + " and more"
        texts = [{"out": {"quelt.FriendlyName": u"\u20ac"}}, {"out": {"quelt.objPath": "/p"}}, {}]
        high, low = 2 ** 31 - 1, -2 ** 31
        self.check_rows((
            (call.GetObjectExtAttrs([upper, UUID]), library(DDBGet=texts),
             OrderedDict([(upper, attributes(1, u"\u20ac", "/p")), (UUID, attributes(2))]),
             OPENED + [made for number, text in ((1, upper), (2, UUID)) for made in (
                 op.IsObjectAccessible(ZEROS, UUID_BYTES),
                 op.ObjLib_GetExtParams(b"q://" + text.encode(), 0),
                 op.DDBGet(number, b"quelt.FriendlyName"), op.DDBGet(number, b"quelt.objPath"),
                 op.ObjLib_FreeExtParams(number))] + [op.ObjLib_Exit()]),
            (call.GetObjectExtAttrs([UUID, UUID + "+", UUID]), library([low, high, 7]),
             OrderedDict([(UUID, attributes(7)), (UUID + "+", attributes(high))]), None)))
        self.check_rows(
            (call.GetObjectExtAttrs([UUID, UUID]), library(DDBGet={"out": {key: b"\xff"}}),
             fault_rows.ITEM(key=name), None)
            for key, name in (("quelt.FriendlyName", "ufn"), ("quelt.objPath", "objPath")))

    def test_inaccessible_objects_and_invalid_uuids_are_left_out(self):
        asked = OPENED + [op.IsObjectAccessible(ZEROS, UUID_BYTES)]
        read = asked + [op.ObjLib_GetExtParams(b"q://" + UUID.encode(), 0)]
        self.check_rows([
            (call.GetObjectExtAttrs([UUID]), library(**{operation: answer}), {},
             made + [op.ObjLib_Exit()]) for operation, answer, made in (
                 ("IsObjectAccessible", returns(0x0BAD0003, accessible=1), asked),
                 ("IsObjectAccessible", out(accessible=0), asked),
                 ("ObjLib_GetExtParams", returns(-1), read),
                 ("ObjLib_GetExtParams", {}, read),
                 ("ObjLib_GetExtParams", returns(1, objClass=1),
                  read + [op.ObjLib_FreeExtParams(1)]))] + [
            (call.GetObjectExtAttrs(names), library(), {}, OPENED + [op.ObjLib_Exit()])
            for names in (["", "nothing", CID, UUID[:34] + "-"], type("Texts", (list,), {})([""]))])


class FactsTest(RowTestCase):

    def test_disk_version_is_capped_at_13(self):
        self.check_rows([
            (call.GetOqtaCappedMaxDiskVersion(), {"GetOqtaMaxDiskVersion": returns(reported)},
             version, [op.GetOqtaMaxDiskVersion()])
            for reported, version in ((0, 13), (1, 1), (5, 5), (13, 13), (14, 13), (255, 13))] + [
            (call.UpgradeFormatVersionForDiskGroup(TEXT), {}, None,
             [op.UpgradeDiskGroupFormatVersion(TEXT.encode("utf-8"))])])

    def test_disk_facts_are_returned_as_reported(self):
        facts = call.GetT1DiskInfo()
        self.check_rows([(facts, {}, {}, [op.GetT1DiskInfoMap()]), (
            facts, {"GetT1DiskInfoMap": out(facts=[
                ["d1", [["low", -2 ** 31], ["high", 2 ** 31 - 1], ["", 0]]],
                [b"d2\0rest", []], [u"\u20ac", [["x", 1]]]])},
            {"d1": {"low": -2 ** 31, "high": 2 ** 31 - 1, "": 0}, "d2": {}, u"\u20ac": {"x": 1}},
            None)] + text_rows(
                facts, lambda text: {"GetT1DiskInfoMap": out(facts=[["d", [[text, 1]]]])},
                lambda text: {"d": {text: 1}},
                table.FACT) + text_rows(
                    facts, lambda text: {"GetT1DiskInfoMap": out(
                        facts=[[text, [["f", 1]]], ["other", []]])},
                    lambda text: {text: {"f": 1}, "other": {}},
                    table.DISK))

    def test_host_figures_are_returned_unsigned_under_their_names(self):
        figures = dict(physicalCapacity=2 ** 63, physicalUsed=1, logicalCapacity=2, logicalUsed=3,
                       dedupMetadataSize=4, logicalFSOverhead=5, blkAttrOverhead=2 ** 64 - 1,
                       transientSpace=6, physicalTransientSpace=7)
        operation = "GetCapacityAndFSOverheadFromNorim"
        self.check_rows((
            (call.GetHostInfo(), {}, dict.fromkeys(figures, 0), [(operation, [ZEROS])]),
            (call.GetHostInfo(), {operation: out(**figures)}, figures, [(operation, [ZEROS])])))


if __name__ == "__main__":
    unittest.main()
