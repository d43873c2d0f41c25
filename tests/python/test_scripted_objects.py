"""Objects, disks and host facts against a host that answers from a script."""

import ctypes
import random
import unittest

import pyquelt
import scripted

ZEROS = b"\0" * 16
UUID = "00112233-4455-6677-8899-aabbccddeeff"
UUID_BYTES = bytes(bytearray(range(0, 256, 17)))
CID = "0011223344556677-8899aabbccddeeff"
KERNEL = 0x0BAD0000


class ChangesTest(scripted.ScriptedTestCase):

    def test_new_object_reaches_the_library_with_other_values(self):
        text = u"gr\u00fc\u00df"
        cases = (
            ({}, [ZEROS, None, None, None, 4, 0, -1, False, ZEROS, 0, ZEROS]),
            (dict(ufn=text, haMetaData="", policy="p", allocType=-1, size=2 ** 63, capabilities=7,
                  ignoreExtAttr=[0], groupUuid=UUID.upper() + "tail", objClass=99, cid=CID),
             [UUID_BYTES, text.encode("utf-8"), b"", b"p", -1, 2 ** 63, 7, True, UUID_BYTES, 99,
              ZEROS]),
            (dict(size=-1, ignoreExtAttr=[]),
             [ZEROS, None, None, None, 4, 2 ** 64 - 1, -1, False, ZEROS, 0, ZEROS]),
        )
        for keywords, arguments in cases:
            self.assertEqual(pyquelt.CreateObject(**keywords),
                             "00000000-0000-0000-0000-000000000000")
            self.assertEqual(scripted.calls("ObjUtil_Create")[-1], arguments)
        scripted.answer("ObjUtil_Create", {"out": {"uuid": UUID_BYTES}})
        self.assertEqual(pyquelt.CreateObject(), UUID)

    def test_deletion_reaches_the_library_with_other_values(self):
        cases = (((UUID,), {}, [ZEROS, UUID_BYTES, False, True, True]),
                 ((), dict(uuid=UUID, force="yes", cid=CID),
                  [UUID_BYTES, UUID_BYTES, True, True, True]))
        for args, keywords, arguments in cases:
            self.assertIsNone(pyquelt.DeleteObject(*args, **keywords))
            self.assertEqual(scripted.calls("ObjUtil_Delete")[-1], arguments)

    def test_bad_arguments_reach_the_library_or_raise_something_else(self):
        bad = "x" * 100000
        for name, args, keywords, kind, text in (
                ("CreateObject", ("a",), {}, TypeError, None),
                ("CreateObject", (), dict(nothing=1), TypeError, None),
                ("CreateObject", (), dict(groupUuid=None), TypeError, None),
                ("CreateObject", (), dict(ufn=b"a"), TypeError, None),
                ("CreateObject", (), dict(ufn="a\0b"), ValueError, None),
                ("CreateObject", (), dict(allocType=2 ** 31), OverflowError, None),
                ("CreateObject", (), dict(groupUuid="", cid=""), ValueError,
                 "could not parse groupUuid"),
                ("CreateObject", (), dict(cid=UUID), ValueError, "could not parse cid"),
                ("DeleteObject", (), {}, TypeError, None),
                ("DeleteObject", (UUID, True), {}, TypeError, None),
                ("DeleteObject", (UUID,), dict(cid=None), TypeError, None),
                ("DeleteObject", (bad,), dict(cid="y"), ValueError, "could not parse uuid: " + bad),
                ("DeleteObject", (UUID,), dict(cid=u"%s\u20ac"), ValueError,
                 u"could not parse cid: %s\u20ac")):
            with self.subTest(name, args=str(args)[:20], keywords=keywords):
                with self.assertRaises(kind) as caught:
                    getattr(pyquelt, name)(*args, **keywords)
                self.assertIs(type(caught.exception), kind)
                if text is not None:
                    self.assertEqual(str(caught.exception), text)
        self.assertEqual(scripted.calls(), [])


class IdentifierTextTest(scripted.ScriptedTestCase):

    UUID_FORMAT = b"-".join(b"%2hhx" * count for count in (4, 2, 2, 2, 6))
    CID_FORMAT = b"-".join(b"%2hhx" * count for count in (8, 8))

    def read(self, form, text):
        """What formatted input makes of a text: 16 bytes, or None."""
        area = ctypes.create_string_buffer(16)
        places = [ctypes.byref(area, i) for i in range(16)]
        return area.raw if ctypes.CDLL(None).sscanf(text.encode(), form, *places) == 16 else None

    def random_text(self, source, valid):
        text = list(valid)
        for _ in range(source.choice((0, 1, 1, 2, 3))):
            place = source.randrange(len(text) + 1)
            text[place:place + source.randrange(3)] = source.choice(
                ("", "-", " ", "\n", "+", "-f", "0x", "G", "A", "77", u"\u00e9", "%n", "0" * 40))
        return "".join(text)

    def test_random_text_is_accepted_or_refused_against_the_rule(self):
        source = random.Random(20240229)
        expected = []
        for _ in range(10000):
            uuid, cid = self.random_text(source, UUID), self.random_text(source, CID)
            uuid_bytes = self.read(self.UUID_FORMAT, uuid)
            cid_bytes = self.read(self.CID_FORMAT, cid)
            try:
                pyquelt.DeleteObject(uuid, cid=cid)
                expected.append([cid_bytes, uuid_bytes, False, True, True])
            except ValueError as error:
                self.assertEqual(str(error), "could not parse cid: " + cid if uuid_bytes else
                                 "could not parse uuid: " + uuid)
                self.assertTrue(uuid_bytes is None or cid_bytes is None, (uuid, cid))
        self.assertEqual(scripted.calls("ObjUtil_Delete"), expected)
        self.assertTrue(2000 < len(expected) < 8000, len(expected))

    def test_odd_text_reads_as_other_bytes(self):
        for start, first in ((" 00", 0), ("\t\n +f", 15), ("-1", 255)):
            pyquelt.DeleteObject(start + UUID[2:])
            sent = scripted.calls("ObjUtil_Delete")[-1][1]
            self.assertEqual(sent, bytes(bytearray([first])) + UUID_BYTES[1:])


class ExtAttrsTest(scripted.ScriptedTestCase):

    def setUp(self):
        scripted.ScriptedTestCase.setUp(self)
        scripted.answer("ObjLib_GetURIPrefix", {"out": {"prefix": "q://"}})
        scripted.answer("ObjLib_GetExtParams", {"out": {"objClass": 1}}, {"out": {"objClass": 2}},
                        {"out": {"objClass": 3}})

    def test_library_is_called_in_another_order_or_with_other_values(self):
        scripted.answer("DDBGet", {"out": {"quelt.FriendlyName": u"\u20ac"}},
                        {"out": {"quelt.objPath": "/p"}}, {})
        upper = UUID.upper() + " and more"
        self.assertEqual(pyquelt.GetObjectExtAttrs([upper, UUID]), {
            upper: {"ufn": u"\u20ac", "objPath": "/p", "objClass": 1},
            UUID: {"ufn": "", "objPath": "", "objClass": 2}})
        self.assertEqual(scripted.calls(), [("ObjLib_Init", []), ("ObjLib_GetURIPrefix", [3])] + [
            call for number, text in ((1, upper), (2, UUID)) for call in (
                ("IsObjectAccessible", [ZEROS, UUID_BYTES]),
                ("ObjLib_GetExtParams", [b"q://" + text.encode(), 0]),
                ("DDBGet", [number, b"quelt.FriendlyName"]),
                ("DDBGet", [number, b"quelt.objPath"]),
                ("ObjLib_FreeExtParams", [number]))] + [("ObjLib_Exit", [])])

    def test_object_that_does_not_qualify_is_listed_or_fails_the_call(self):
        for operation, answer, read in (
                ("IsObjectAccessible", {"returns": KERNEL + 3}, 0),
                ("IsObjectAccessible", {"out": {"accessible": 0}}, 0),
                ("ObjLib_GetExtParams", {"returns": -1}, 1),
                ("ObjLib_GetExtParams", {}, 1),
                ("ObjLib_GetExtParams", {"returns": 1, "out": {"objClass": 1}}, 1)):
            with self.subTest(operation, answer=answer):
                self.setUp()
                scripted.answer(operation, answer)
                self.assertEqual(pyquelt.GetObjectExtAttrs([UUID]), {})
                self.assertEqual(len(scripted.calls("ObjLib_GetExtParams")), read)
                self.assertEqual(len(scripted.calls("ObjLib_FreeExtParams")),
                                 1 if "out" in answer and read else 0)
        self.assertEqual(pyquelt.GetObjectExtAttrs(["", "nothing", CID, UUID[:35] + "-"]), {})

    def test_entries_are_in_another_order_or_one_text_gives_two(self):
        scripted.answer("ObjLib_GetExtParams", {"out": {"objClass": -2 ** 31}},
                        {"out": {"objClass": 2 ** 31 - 1}}, {"out": {"objClass": 7}})
        result = pyquelt.GetObjectExtAttrs([UUID, UUID + "+", UUID])
        self.assertEqual([result[key]["objClass"] for key in (UUID, UUID + "+")], [7, 2 ** 31 - 1])
        self.assertEqual(len(result), 2)

    def test_bad_list_reaches_the_library_or_raises_something_else(self):
        for args in ((), ((UUID,),), (UUID,), ([UUID], []), ([UUID, None],), ([b"x"],),
                     ([UUID, u"\ud800"],)):
            with self.subTest(args=args):
                self.assert_raises_exactly(RuntimeError, "Unable to parse object uuids",
                                           pyquelt.GetObjectExtAttrs, *args)
        self.assert_raises_exactly(RuntimeError, "object uuids parameter is required",
                                   pyquelt.GetObjectExtAttrs, [])
        self.assertEqual(scripted.calls(), [])
        self.assertEqual(pyquelt.GetObjectExtAttrs(type("Texts", (list,), {})([""])), {})

    def test_undecodable_descriptor_text_gets_another_message(self):
        for key, name in (("quelt.FriendlyName", "ufn"), ("quelt.objPath", "objPath")):
            scripted.answer("DDBGet", {"out": {key: b"\xff"}})
            self.assert_raises_exactly(RuntimeError,
                                       "PyDict_SetItemString failed with key:" + name,
                                       pyquelt.GetObjectExtAttrs, [UUID, UUID])


class FactsTest(scripted.ScriptedTestCase):

    def test_highest_version_is_not_capped_at_13(self):
        for reported, version in ((0, 13), (1, 1), (5, 5), (13, 13), (14, 13), (255, 13)):
            scripted.answer("GetOqtaMaxDiskVersion", {"returns": reported})
            self.assertEqual(pyquelt.GetOqtaCappedMaxDiskVersion("ignored", 1), version)

    def test_upgrade_names_another_group_or_takes_bad_arguments(self):
        for args in ((), (1,), (None,), ("a", "b"), (b"a",), ("a\0",), (u"\ud800",)):
            self.assert_raises_exactly(RuntimeError, "Unable to parse diskName",
                                       pyquelt.UpgradeFormatVersionForDiskGroup, *args)
        self.assertEqual(scripted.calls(), [])
        self.assertIsNone(pyquelt.UpgradeFormatVersionForDiskGroup(u"gr\u00fcn"))
        self.assertEqual(scripted.calls("UpgradeDiskGroupFormatVersion"),
                         [[u"gr\u00fcn".encode("utf-8")]])

    def test_disk_facts_are_changed_on_their_way(self):
        self.assertEqual(pyquelt.GetT1DiskInfo(1, 2), {})
        scripted.answer("GetT1DiskInfoMap", {"out": {"disks": [
            ["d1", [["low", -2 ** 31], ["high", 2 ** 31 - 1], ["", 0]]],
            [b"d2\0rest", []], [u"\u20ac", [["x", 1]]]]}})
        self.assertEqual(pyquelt.GetT1DiskInfo(), {
            "d1": {"low": -2 ** 31, "high": 2 ** 31 - 1, "": 0}, "d2": {}, u"\u20ac": {"x": 1}})
        for disks, text in (([["d", [[b"\xff", 1]]]], "PyDict_SetItemString InfoMap failed!"),
                            ([[b"\xff", [["f", 1]]]], "PyDict_SetItemString result failed!")):
            scripted.answer("GetT1DiskInfoMap", {"out": {"disks": disks + [["good", []]]}})
            self.assert_raises_exactly(RuntimeError, text, pyquelt.GetT1DiskInfo)

    def test_host_figures_are_swapped_or_turn_negative(self):
        names = ("physicalCapacity", "physicalUsed", "logicalCapacity", "logicalUsed",
                 "dedupMetadataSize", "logicalFSOverhead", "blkAttrOverhead", "transientSpace",
                 "physicalTransientSpace")
        self.assertEqual(pyquelt.GetHostInfo("ignored"), dict.fromkeys(names, 0))
        figures = [2 ** 63 + i for i in range(8)] + [2 ** 64 - 1]
        scripted.answer("GetCapacityAndFSOverheadFromNorim", {"out": {"figures": figures}})
        self.assertEqual(pyquelt.GetHostInfo(), dict(zip(names, figures)))
        self.assertEqual(scripted.calls("GetCapacityAndFSOverheadFromNorim"), [[ZEROS]] * 2)


if __name__ == "__main__":
    unittest.main()
