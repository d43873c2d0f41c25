"""python3 -m quelt_testing capture: a copy of a host gives the same answers as the host."""

import json
import os
import random
import sys
import types

import deep
import hosts
import pyquelt
import quelt_testing
from quelt_testing.capture import read_host

TEXTS = ["", "a", "two words", u"gr\u00fc\u00df \U0001f511", "</script>\"'&", "\x01\x1b[31m\x7f",
         "a/b~c"]
ADDRESSES = ["192.0.2.1", "198.51.100.77", "::", "2001:db8::7", "ff15::77:1"]
KEKS = ["", "kek-1", u"kek-\u00e9", "k" * 79]
CLUSTERS = ["", "kmip-a", "kmip-b"]
CLASSES = ["VDISK", "SNAPSHOT", "VMNAMESPACE", "DPCONSISTENCYGROUP", "HULFS"]
CHANGING = ("Set", "Add", "Remove", "Create", "Delete", "Cache", "Upgrade", "Shallow", "Decrypt")
SECRET = ("GetIloAuth", "GetKeyFromKeyCache", "GetKmsPasswordFromConfigStore",
          "GetWrappedDekFromDisk", "GetDekFromDisk")


class Generator(object):
    """Scenarios that use every key that capture can read."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.pick = self.random.choice

    def number(self, least=-2**31, most=2**31 - 1):
        return self.pick([least, most, self.random.randint(least, most)])

    def flag(self):
        return self.pick([True, False])

    def some(self, make, most=4):
        return [make(i) for i in range(self.random.randint(0, most))]

    def uuid(self, kind, i):
        return "%08x-0000-4000-8000-%012x" % (kind, i)

    def agent(self, i):
        agent = {"uuid": "node-%d" % self.random.randint(0, 2), "port": i + self.number(-5, 5) * 10,
                 "type": self.pick(["node", "witness", "metadata", "remote"]),
                 "address": self.pick(ADDRESSES), "isSupportUnicast": self.flag()}
        for key in "interface", "hostname", "thumbprint", "subClusterUuid":
            agent[key] = self.pick(TEXTS)
        return agent

    def interface(self, i):
        entry = {"name": self.pick(TEXTS + ["nul\0byte"]), "uuid": self.pick(TEXTS),
                 "trafficType": self.pick(["quelt", "all", "other"])}
        entry.update((key, self.pick(ADDRESSES)) for key in
                     ("agentGroup", "agentV6Group", "masterGroup", "masterV6Group"))
        entry.update((key, self.number()) for key in
                     ("agentPort", "masterPort", "unicastPort", "ttl"))
        return entry

    def server(self, i):
        server = {key: self.pick(TEXTS) for key in
                  ("name", "userName", "password", "address", "protocol", "proxyAddress")}
        server["kmipClusterId"] = self.pick(CLUSTERS)
        server.update((key, self.number(-1, 65535)) for key in ("port", "proxyPort"))
        server.update((key, self.number(-1)) for key in ("reconnect", "nbio", "timeout"))
        return server

    def disk(self, i):
        disk = {"name": "disk-%d%s" % (i, self.pick(TEXTS)), "uuid": self.uuid(1, i),
                "encrypted": self.flag(), "kekId": self.pick(KEKS),
                "clusterId": self.pick(CLUSTERS + ["c" * 255]),
                "dekGenerationId": self.number(0, 2**32 - 1)}
        if self.flag():
            disk["aws"] = {"wrappedDek": "ab" * self.number(0, 300)}
        elif disk["encrypted"]:
            disk["dek"] = "%0128x" % self.random.getrandbits(500)
        return disk

    def object(self, i):
        entry = {"uuid": self.uuid(2, i), "path": self.pick(TEXTS), "class": self.pick(CLASSES),
                 "size": self.number(0, 2**40), "allocType": self.pick(["THIN", "THICK"]),
                 "extAttrs": i % 4 != 1, "accessible": i % 4 != 2}
        if self.flag():
            entry["friendlyName"] = "object-%d%s" % (i, self.pick(TEXTS))
        return entry

    def status(self, reason):
        return {"good": self.flag(), reason: self.pick(TEXTS)}

    def cluster(self):
        return {"id": "c", "enabled": self.flag(),
                "unicastModes": self.pick([{}, {"c": True}, {"c": False}])}

    def scenario(self):
        disks = self.some(self.disk)
        scenario = {
            "hardwareSku": self.pick(TEXTS), "kekId": self.pick(KEKS),
            "hostKeyId": self.pick(TEXTS), "perfsvc": dict(zip(TEXTS, self.some(str))),
            "timeMachine": {"a": "b"}, "ilo": {"first": "secret-user", "second": "secret-ilo"},
            "features": {"csd": self.flag(), "metadataNode": self.flag()},
            "keys": [{"id": kek, "key": "5ec3e7" + 58 * "0"} for kek in KEKS], "disks": disks,
            "kms": {"servers": self.some(self.server), "statuses": {
                cluster: {kek: self.status("reason") for kek in KEKS} for cluster in CLUSTERS},
                "passwords": [{"kekId": "kek-1", "kmipClusterId": "", "password": "secret-kek"}]},
            "cloudKms": {disk["name"]: self.status("error") for disk in disks if self.flag()},
            "cluster": self.cluster(), "interfaces": self.some(self.interface),
            "agents": self.agents(), "recordedAgents": self.agents(),
            "maxDiskVersion": self.number(0, 255),
            "t1Disks": {disk["name"]: dict(zip(TEXTS, self.some(lambda i: self.number())))
                        for disk in disks[::2] + [{"name": "t1 only"}]},
            "capacity": {"physical": 2**59, "dedupMetadata": self.number(0, 2**40),
                         "transient": self.number(0, 2**40),
                         "physicalTransient": self.number(0, 2**40)},
            "objects": self.some(self.object, 8)}
        scenario["keys"] += [{"id": disk["uuid"], "key": ""} for disk in disks if self.flag()]
        for key in self.some(lambda i: self.pick(
                ["hardwareSku", "kekId", "cluster", "interfaces", "agents", "perfsvc", "kms"])):
            scenario.pop(key, None)
        return scenario

    def agents(self):
        agents = self.some(self.agent, 6)
        return list({(agent["uuid"], agent["address"], agent["port"]): agent
                     for agent in agents}.values())


def answers(disks, objects, pairs):
    """What the functions that read return, or the types of their exceptions."""
    calls = [(name,) for name in (
        "GetHardwareSku", "GetPerfsvcHostConfigStore", "GetKekId", "GetHostKeyId", "GetKms",
        "GetUnicastAgents", "GetUnicastMode", "GetQueltNetworkInfo", "GetQueltZelnicNames",
        "GetOqtaCappedMaxDiskVersion", "GetT1DiskInfo", "GetHostInfo")]
    calls += [("GetUnicastAgents", True)]
    calls += [("GetEncInfoForDisk", disk) for disk in disks]
    calls += [("GetObjectExtAttrs", [uuid]) for uuid in objects]
    calls += [("CheckKmsStatus",) + pair + (1,) for pair in pairs]
    found = {}
    for call in calls:
        result = hosts.outcome(getattr(pyquelt, call[0]), *call[1:])
        found[str(call)] = result[0] if isinstance(result, tuple) else result
    return found


class CaptureTest(hosts.HostTestCase):

    def test_copy_of_any_host_gives_the_same_answers(self):
        count = deep.full(200, 12)
        for seed in range(count):
            scenario = Generator(seed).scenario()
            disks = [disk["name"] for disk in scenario["disks"]] + ["t1 only", "missing"]
            objects = [item["uuid"] for item in scenario["objects"]] + [
                "00000000-0000-4000-8000-000000000000"]
            self.assertEqual(self.load(scenario), "", seed)
            document = read_host(disks, objects, check_kms=True)
            captured = document["captured"]
            pairs = [tuple(call["arguments"][:2]) for call in captured["read"]
                     if call["function"] == "CheckKmsStatus"]
            cloud = [(name, pyquelt.CheckCloudKmsStatus(name)) for name in document["cloudKms"]]
            before = answers(disks, objects, pairs)
            text = json.dumps(document)
            for secret in "secret-", "5ec3e7":
                self.assertNotIn(secret, text)
            self.assertEqual(self.load(document), "", seed)
            after = answers(disks, objects, pairs)
            for call in before:
                self.assertEqual(after[call], before[call], (seed, call))
            self.assertEqual([(name, pyquelt.CheckCloudKmsStatus(name)) for name, _ in cloud],
                             cloud)
        deep.figure("{} generated hosts: their copies give the same answers", count)

    def test_copy_can_be_rekeyed_with_generated_keys(self):
        disk = "naa.58ce38ee20a1c002"
        host = read_host([disk])
        self.assertEqual(self.load(host), "")
        pyquelt.CacheKey("new", "KEK", b"n" * 32)
        pyquelt.SetKekId("new")
        pyquelt.ShallowRekey([disk])
        self.assertEqual(pyquelt.GetEncInfoForDisk(disk)["kekId"], "new")
        self.assertEqual(len(pyquelt.GetDekFromDisk(disk)), 64)
        self.assertTrue(pyquelt.GetKmsPasswordFromConfigStore("kek-2026-01", "kmip-a")
                        .startswith("generated-"))
        status = pyquelt.CheckKmsStatus("kmip-a", "kek-2026-01", 1)
        self.assertIn("records no status", status["reason"])

    def test_command_reads_without_secrets_and_reports_what_failed(self):
        self.tool("journal", "start")
        command = [sys.executable, "-m", "quelt_testing", "capture"]
        disks = ["--disks", "naa.58ce38ee20a1c004", "missing", "--objects",
                 "0D4C8F62-91be-4a57-b0e6-3f5a7c21d801"]
        before = self.dump()
        result = hosts.run(command + disks)
        self.assertEqual((result.code, result.err), (
            0, "quelt_testing: 1 of 19 calls failed; see \"failed\" under \"captured\"\n"))
        document = json.loads(result.out)
        self.assertEqual(document["captured"]["failed"], [
            {"function": "GetEncInfoForDisk", "arguments": ["missing"],
             "error": 'ValueError: Disk "missing" does not exist'}])
        self.assertEqual([disk["name"][-4:] for disk in document["disks"]],
                         ["c001", "c002", "c003", "c004"])
        self.assertEqual(document["objects"][0]["friendlyName"], "web-01")
        for pointer in document["captured"]["generated"]:
            self.assertIn(pointer.split("/")[1], document)
        functions = [call["function"] for call in document["captured"]["read"]]
        self.assertFalse([name for name in functions
                          if name.startswith(CHANGING) or name in SECRET])
        self.assertEqual(self.dump(), before)
        second = json.loads(hosts.run(command + disks).out)
        for each in document, second:
            del each["captured"]["time"]
        self.assertEqual(second, document)

    def test_command_rejects_invalid_usage_and_a_host_that_does_not_answer(self):
        alone = {"PYTHONPATH": os.path.dirname(os.path.dirname(quelt_testing.__file__))}
        for words, code, text, options in (
                ([], 2, "COMMAND", {}),
                (["capture", "--objects", "web-01"], 2, "'web-01' is not a UUID", {}),
                (["capture", "--disks", b"\xff"], 2, "is not UTF-8", {}),
                (["capture"], 1, "quelt_testing: No call of pyquelt succeeded. The first one "
                 "failed with ValueError: ", {"state": hosts.FOLDER}),
                (["capture"], 1, "quelt_testing: No module named 'pyquelt'", {"env": alone})):
            result = hosts.run([sys.executable, "-S", "-m", "quelt_testing"] + words, **options)
            self.assertEqual((result.code, result.out), (code, ""), words)
            self.assertIn(text, result.err)

    def test_facts_that_a_scenario_cannot_express_are_reported(self):
        """Another host library may give such answers."""
        agent = {"address": "192.0.2.1", "port": 1, "zelnic": "", "hostname": "", "thumbprint": "",
                 "isSupportUnicast": True, "subClusterUuid": "", "nodeType": 0}
        first = "00000000-0000-4000-8000-000000000001"
        second = first[:-1] + "2"
        info = {"encrypted": True, "useAwsKms": False, "dekInCache": True, "kekId": "k" * 80,
                "clusterId": "c" * 256, "dekGenerationId": 1}
        interface = dict(pyquelt.GetQueltNetworkInfo()[0])
        interface["Agent Group Multicast Address"] = ""
        module = types.SimpleNamespace(
            GetUnicastAgents=lambda *_: {"n": [agent, agent, dict(agent, address="here"),
                                               dict(agent, port=2, nodeType=9)]},
            GetQueltNetworkInfo=lambda: [interface],
            GetKms=lambda: [{"name": "s", "port": 65536, "reconnect": -5, "timeout": 7}],
            GetT1DiskInfo=lambda: {"d": {}}, GetEncInfoForDisk=lambda name: info,
            GetObjectExtAttrs=lambda names: {names[0]: {"ufn": "same", "objPath": "",
                                                        "objClass": 10}},
            GetHostInfo=lambda: dict(dict.fromkeys(pyquelt.GetHostInfo(), 2**64 - 1),
                                     physicalCapacity=7))
        document = read_host(objects=[first, second], module=module)
        self.assertEqual(self.load(document), "")
        changed = "\n".join(document["captured"]["changed"])
        for text in ('Agent "n" at "192.0.2.1" port 1 is listed more than once',
                     'Agent "n" at "here" port 1 is left out', "has the unknown type 9",
                     'has the Agent Group Multicast Address ""', 'the port 65536', 'reconnect -5',
                     "a kekId of more than 79 bytes", "a clusterId of more than 255 bytes",
                     "the unknown class 10", 'the friendly name "same" of another object',
                     "logicalUsed is 18446744073709551615"):
            self.assertIn(text, changed)
        self.assertEqual(pyquelt.GetHostInfo()["logicalUsed"], 1 << 60)
