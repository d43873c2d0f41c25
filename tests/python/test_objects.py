"""Objects, disks and host facts on the embedded host."""

import unittest

import hosts
import pyquelt

GIB = 2 ** 30
NAMESPACE = "0d4c8f62-91be-4a57-b0e6-3f5a7c21d801"
GROUP = "5b1f0a54-6c1d-4e0b-9a37-0a6f5d8c2e10"
MEMBER = "6c27e9b1-84a3-4d0f-92be-15d7f36ad805"
NAMELESS = "8fb4c2e6-03d9-47a8-8e15-a26d7b90d807"
UNREACHABLE = "90d5f371-c6e2-4815-bd04-e83a1f6cd808"
UNKNOWN = "11111111-1111-4111-8111-111111111111"


def changes(before, after):
    """What moved between two answers of GetHostInfo."""
    return {key: after[key] - before[key] for key in before if after[key] != before[key]}


class ObjectsTest(hosts.HostTestCase):

    def test_new_object_is_not_found_as_it_was_made(self):
        plain = pyquelt.CreateObject()
        named = pyquelt.CreateObject(ufn=u"b\u00fcro", size=GIB, groupUuid=GROUP.upper(),
                                     objClass=4, allocType=3)
        bare = pyquelt.CreateObject(ufn="bare", ignoreExtAttr=True)
        self.assertEqual(len({plain, named, bare}), 3)
        texts = [plain, named.upper() + "!", bare, UNREACHABLE, UNKNOWN, NAMELESS, NAMESPACE]
        in_another_process = self.script(
            "import pyquelt, sys; print(ascii(pyquelt.GetObjectExtAttrs(sys.argv[1:])))", *texts)
        self.assertEqual(pyquelt.GetObjectExtAttrs(texts), {
            plain: {"ufn": "", "objPath": "/quelt/objects/" + plain, "objClass": 0},
            named.upper() + "!": {"ufn": u"b\u00fcro", "objPath": "/quelt/objects/" + named,
                                  "objClass": 4},
            NAMELESS: {"ufn": "", "objPath": "/quelt/objects/" + NAMELESS, "objClass": 7},
            NAMESPACE: {"ufn": "web-01", "objPath": "/quelt/web-01", "objClass": 2}})
        self.assertEqual(eval(in_another_process), pyquelt.GetObjectExtAttrs(texts))

    def test_refused_change_has_wrong_status_or_leaves_something(self):
        cid = "0" * 16 + "-" + "1" * 16
        its = pyquelt.CreateObject(ufn="taken", cid=cid)
        full = pyquelt.GetHostInfo()["logicalCapacity"]
        before = pyquelt.GetHostInfo()
        for function, args, keywords, text in (
                (pyquelt.CreateObject, (), dict(ufn="taken"), "Already exists"),
                (pyquelt.CreateObject, (), dict(allocType=0), "Bad parameter"),
                (pyquelt.CreateObject, (), dict(allocType=5), "Bad parameter"),
                (pyquelt.CreateObject, (), dict(objClass=10), "Bad parameter"),
                (pyquelt.CreateObject, (), dict(objClass=-1), "Bad parameter"),
                (pyquelt.CreateObject, (), dict(groupUuid=UNKNOWN), "Not found"),
                (pyquelt.CreateObject, (), dict(groupUuid=NAMESPACE), "Bad parameter"),
                (pyquelt.CreateObject, (), dict(groupUuid=GROUP, objClass=8), "Bad parameter"),
                (pyquelt.CreateObject, (), dict(size=full, allocType=1), "Limit exceeded"),
                (pyquelt.CreateObject, (), dict(size=full + 1), "Limit exceeded"),
                (pyquelt.CreateObject, (), dict(size=-1), "Limit exceeded"),
                (pyquelt.DeleteObject, (UNKNOWN,), dict(force=True), "Not found"),
                (pyquelt.DeleteObject, (its,), dict(cid=cid.replace("1", "2")), "Not found"),
                (pyquelt.DeleteObject, (UNREACHABLE,), {}, "Object has no healthy component"),
                (pyquelt.DeleteObject, (GROUP,), {}, "Busy")):
            with self.subTest(text, args=args, keywords=keywords):
                self.assert_raises_exactly(RuntimeError, text, function, *args, **keywords)
        self.assertEqual(pyquelt.GetHostInfo(), before)
        pyquelt.DeleteObject(its.upper(), cid=cid)
        self.assertEqual(pyquelt.GetObjectExtAttrs([its]), {})
        pyquelt.CreateObject(ufn="taken")

    def test_force_deletes_what_it_should_not_or_members_with_their_group(self):
        self.assertIsNone(pyquelt.DeleteObject(UNREACHABLE, force=True))
        self.assertIsNone(pyquelt.DeleteObject(GROUP, force=True))
        self.assertEqual(list(pyquelt.GetObjectExtAttrs([UNREACHABLE, GROUP, MEMBER])), [MEMBER])
        self.assert_raises_exactly(RuntimeError, "Not found", pyquelt.CreateObject, groupUuid=GROUP)

    def test_figures_do_not_add_up_or_do_not_follow_the_objects(self):
        start = pyquelt.GetHostInfo()
        self.assertEqual(start["logicalUsed"] - start["transientSpace"],
                         start["physicalUsed"] - start["dedupMetadataSize"] -
                         start["physicalTransientSpace"])
        for keywords, allocated in ((dict(size=GIB, allocType=1), GIB), (dict(size=GIB), 2 ** 20),
                                    (dict(size=4097, allocType=2), 8192), (dict(size=1), 4096),
                                    ({}, 0)):
            uuid = pyquelt.CreateObject(**keywords)
            overhead, attributes = 65536, allocated // 512
            moved = {"logicalUsed": allocated + overhead + attributes,
                     "physicalUsed": allocated + overhead + attributes,
                     "logicalFSOverhead": overhead, "blkAttrOverhead": attributes}
            self.assertEqual(changes(start, pyquelt.GetHostInfo()),
                             {key: value for key, value in moved.items() if value})
            pyquelt.DeleteObject(uuid)
            self.assertEqual(pyquelt.GetHostInfo(), start)


class DisksTest(hosts.HostTestCase):

    def versions(self):
        return sorted(facts["formatVersion"] for facts in pyquelt.GetT1DiskInfo().values())

    def test_upgrade_misses_its_disks_or_touches_others(self):
        self.assertEqual(pyquelt.GetOqtaCappedMaxDiskVersion(), 12)
        self.assertEqual(self.versions(), [11, 11, 12])
        for _ in range(2):
            self.assertIsNone(pyquelt.UpgradeFormatVersionForDiskGroup("group-1"))
            self.assertEqual(self.versions(), [12, 12, 12])
        self.assert_raises_exactly(ValueError, "Disk group \"group-9\" does not exist",
                                   pyquelt.UpgradeFormatVersionForDiskGroup, "group-9")


class ScenarioTest(hosts.HostTestCase):

    def test_dumped_host_loads_to_another_state(self):
        pyquelt.CreateObject(ufn="n", haMetaData="h", policy="p", allocType=2, size=5,
                             capabilities=6, ignoreExtAttr=True, groupUuid=GROUP, objClass=9,
                             cid="0" * 16 + "-" + "1" * 16)
        pyquelt.UpgradeFormatVersionForDiskGroup("group-1")
        dumped = self.dump()
        figures, disks = pyquelt.GetHostInfo(), pyquelt.GetT1DiskInfo()
        self.assertEqual(self.load({}), "")
        self.assertEqual((pyquelt.GetOqtaCappedMaxDiskVersion(), pyquelt.GetT1DiskInfo()), (13, {}))
        self.assert_raises_exactly(RuntimeError, "Limit exceeded", pyquelt.CreateObject)
        self.assertEqual(self.load(dumped), "")
        self.assertEqual((pyquelt.GetHostInfo(), pyquelt.GetT1DiskInfo()), (figures, disks))
        self.assertEqual(self.dump(), dumped)


if __name__ == "__main__":
    unittest.main()
