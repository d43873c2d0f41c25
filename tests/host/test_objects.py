"""Objects, disks and host facts on the embedded host."""

import ast

import hosts
import pyquelt
from pyquelt import CreateObject, DeleteObject

GIB = 2 ** 30
NAMESPACE = "0d4c8f62-91be-4a57-b0e6-3f5a7c21d801"
GROUP = "5b1f0a54-6c1d-4e0b-9a37-0a6f5d8c2e10"
MEMBER = "6c27e9b1-84a3-4d0f-92be-15d7f36ad805"
NAMELESS = "8fb4c2e6-03d9-47a8-8e15-a26d7b90d807"
UNREACHABLE = "90d5f371-c6e2-4815-bd04-e83a1f6cd808"
UNKNOWN = "11111111-1111-4111-8111-111111111111"
CID = "0" * 16 + "-" + "1" * 16


class ObjectsTest(hosts.HostTestCase):

    def test_new_object_has_the_attributes_it_was_created_with(self):
        plain, bare = CreateObject(), CreateObject(ufn="bare", ignoreExtAttr=True)
        named = CreateObject(ufn=u"b\u00fcro", haMetaData="h", policy="p", allocType=3, size=GIB,
                             capabilities=6, groupUuid=GROUP.upper(), objClass=4, cid=CID)
        texts = [plain, named.upper() + "!", bare, UNREACHABLE, UNKNOWN, NAMELESS, NAMESPACE]
        expected = {
            plain: {"ufn": "", "objPath": "/quelt/objects/" + plain, "objClass": 0},
            named.upper() + "!": {"ufn": u"b\u00fcro", "objPath": "/quelt/objects/" + named,
                                  "objClass": 4},
            NAMELESS: {"ufn": "", "objPath": "/quelt/objects/" + NAMELESS, "objClass": 7},
            NAMESPACE: {"ufn": "web-01", "objPath": "/quelt/web-01", "objClass": 2}}
        self.assertEqual(pyquelt.GetObjectExtAttrs(texts), expected)
        self.assertEqual(ast.literal_eval(self.script(
            "import pyquelt, sys; print(ascii(pyquelt.GetObjectExtAttrs(sys.argv[1:])))", *texts)),
            expected)
        self.assertIn({"uuid": named, "cid": CID.replace("-", ""), "friendlyName": u"b\u00fcro",
                       "path": "/quelt/objects/" + named, "haMetaData": "h", "policy": "p",
                       "allocType": "ZEROED_THICK", "size": GIB, "capabilities": 6, "class": "VMEM",
                       "group": GROUP, "extAttrs": True, "accessible": True},
                      self.dump()["objects"])

    def test_rejected_change_raises_its_status_and_changes_nothing(self):
        created = CreateObject(ufn="taken", cid=CID)
        before = pyquelt.GetHostInfo()
        full = before["logicalCapacity"]
        for text, function, *rejected in (
                ("Already exists", CreateObject, dict(ufn="taken")),
                ("Bad parameter", CreateObject, dict(allocType=0), dict(allocType=5),
                 dict(objClass=10), dict(objClass=-1), dict(groupUuid=NAMESPACE),
                 dict(groupUuid=GROUP, objClass=8)),
                ("Limit exceeded", CreateObject, dict(size=full, allocType=1),
                 dict(size=full + 1), dict(size=-1)),
                ("Not found", CreateObject, dict(groupUuid=UNKNOWN)),
                ("Not found", DeleteObject, dict(uuid=UNKNOWN, force=True),
                 dict(uuid=created, cid=CID.replace("1", "2"))),
                ("Object has no healthy component", DeleteObject, dict(uuid=UNREACHABLE)),
                ("Busy", DeleteObject, dict(uuid=GROUP))):
            for keywords in rejected:
                with self.subTest(text, keywords=keywords):
                    self.assert_raises_exactly(RuntimeError, text, function, **keywords)
        self.assertEqual(pyquelt.GetHostInfo(), before)
        DeleteObject(created.upper(), cid=CID)
        self.assertEqual(pyquelt.GetObjectExtAttrs([created]), {})
        CreateObject(ufn="taken")

    def test_force_deletes_an_unreachable_object_and_a_group_but_no_members(self):
        for uuid in UNREACHABLE, GROUP:
            self.assertIsNone(DeleteObject(uuid, force=True))
        self.assertEqual(list(pyquelt.GetObjectExtAttrs([UNREACHABLE, GROUP, MEMBER])), [MEMBER])
        self.assert_raises_exactly(RuntimeError, "Not found", CreateObject, groupUuid=GROUP)
        self.assertEqual(self.load(self.dump()), "")  # the members name no deleted group

    def test_figures_add_up_and_follow_the_objects(self):
        start = pyquelt.GetHostInfo()
        self.assertEqual(start["logicalUsed"] - start["transientSpace"],
                         start["physicalUsed"] - start["dedupMetadataSize"] -
                         start["physicalTransientSpace"])
        for keywords, allocated in ((dict(size=GIB, allocType=1), GIB), (dict(size=GIB), 2 ** 20),
                                    (dict(size=4097, allocType=2), 8192), (dict(size=1), 4096),
                                    ({}, 0)):
            uuid = CreateObject(**keywords)
            overhead, attributes = 65536, allocated // 512
            moved = {"logicalUsed": allocated + overhead + attributes,
                     "physicalUsed": allocated + overhead + attributes,
                     "logicalFSOverhead": overhead, "blkAttrOverhead": attributes}
            self.assertEqual(pyquelt.GetHostInfo(),
                             {key: start[key] + moved.get(key, 0) for key in start})
            DeleteObject(uuid)
            self.assertEqual(pyquelt.GetHostInfo(), start)

    def test_stated_figures_are_reported_and_follow_the_objects(self):
        stated = {"physical": 9, "dedupMetadata": 1, "logical": 2 ** 50, "physicalUsed": 1,
                  "logicalUsed": 2 ** 40, "fsOverhead": 5, "blockAttributes": 6}
        listed = {"uuid": GROUP, "size": 2 ** 20, "allocType": "THICK"}
        self.assertEqual(self.load({"capacity": dict(stated, physical=2 ** 50),
                                    "objects": [listed]}), "")
        start = pyquelt.GetHostInfo()
        self.assertEqual([start[key] for key in ("logicalCapacity", "physicalUsed", "logicalUsed",
                                                 "logicalFSOverhead", "blkAttrOverhead")],
                         [2 ** 50, 1, 2 ** 40, 5, 6])
        uuid = CreateObject()
        self.assertEqual(pyquelt.GetHostInfo()["logicalUsed"], 2 ** 40 + 65536)
        self.assertEqual(self.load(self.dump()), "")
        DeleteObject(uuid)
        self.assertEqual(pyquelt.GetHostInfo(), start)
        DeleteObject(GROUP)
        self.assertEqual(pyquelt.GetHostInfo()["physicalUsed"], 0)
        self.assertEqual(self.load({"capacity": stated, "objects": [listed]}), "")
        self.assert_raises_exactly(RuntimeError, "Limit exceeded", CreateObject)

    def test_upgrade_raises_only_versions_of_its_own_group(self):
        def versions():
            return sorted(facts["formatVersion"] for facts in pyquelt.GetT1DiskInfo().values())

        older = self.dump()
        group = older["diskGroups"][1]
        for part in (group, older["t1Disks"][group["t1Disks"][0]]):
            part["formatVersion"] = 10
        self.assertEqual(self.load(older), "")
        for _ in range(2):
            self.assertIsNone(pyquelt.UpgradeFormatVersionForDiskGroup("group-1"))
            self.assertEqual(versions(), [10, 12, 12])
            groups = self.dump()["diskGroups"]
            self.assertEqual([group["formatVersion"] for group in groups], [12, 10])
        self.assertIsNone(pyquelt.UpgradeFormatVersionForDiskGroup("group-2"))
        self.assertEqual(versions(), [12, 12, 12])
        dumped, figures = self.dump(), (pyquelt.GetHostInfo(), pyquelt.GetT1DiskInfo())
        self.assertEqual(self.load({}), "")
        self.assertEqual((pyquelt.GetOqtaCappedMaxDiskVersion(), pyquelt.GetT1DiskInfo()), (13, {}))
        self.assert_raises_exactly(RuntimeError, "Limit exceeded", CreateObject)
        self.assertEqual(self.load(dumped), "")
        self.assertEqual((pyquelt.GetHostInfo(), pyquelt.GetT1DiskInfo()), figures)
