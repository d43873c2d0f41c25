"""Scenario documents: what is loaded is what is dumped, what is bad is refused, and the schema that
editors use says what the loader does."""

import collections
import copy
import json
import os
import re
import unittest

import hosts

HERE = os.path.dirname(os.path.abspath(__file__))


def read_json(*path):
    with open(os.path.join(HERE, *path), encoding="utf-8") as file:
        return json.load(file, object_pairs_hook=collections.OrderedDict)


EVERYTHING = read_json("data", "everything.json")
DEFAULT = read_json("..", "..", "embedded_host", "scenario", "default_scenario.json")
SCHEMA = read_json("..", "..", "docs", "scenario.schema.json")

UUID = "33333333-aaaa-4bbb-8ccc-00000000000"
GROUP = {"uuid": UUID + "9", "class": "DPCONSISTENCYGROUP"}
AGENT = {"uuid": "n", "type": "node", "address": "192.0.2.1"}
DISK = {"name": "d", "uuid": UUID + "1"}
ROOM = {"physical": 1 << 30}
KEK = {"id": "k", "key": "00" * 32}
SECRET = dict(DISK, encrypted=True, kekId="k", dek="0" * 127 + "1")
OBJECT = {"uuid": UUID + "1"}
BESIDE = 'expected no DEK beside "wrapped" or "aws", and none for a disk that is not encrypted'
FIELD = "expected a text of at most {} bytes, none of them zero"

# Top-level keys, what is said about them, and whether the schema can see it too.
REFUSED = [
    ({"hardwareSku": 1}, "/hardwareSku: expected a text", True),
    ({"ilo": {"first": "a"}}, '/ilo: expected a member "second"', True),
    ({"perfsvc": {"a/b~": True}}, "/perfsvc/a~1b~0: expected a text", True),
    ({"features": []}, "/features: expected an object", True),
    ({"features": {"csd": 1}}, "/features/csd: expected true or false", True),
    ({"keys": {}}, "/keys: expected an array", True),
    ({"keys": [{"id": "k", "key": "abc"}]},
     "/keys/0/key: expected an even number of hexadecimal digits, 0 to 8192", True),
    ({"keys": [{"id": "k", "key": ""}, {"id": "k", "key": ""}]},
     "/keys/1/id: expected an id that no other key has", False),
    ({"disks": [dict(DISK, encrypted=True, kekId="k", dek="zz" * 64)]},
     '/disks/0/kekId: expected the id of a key of 32 bytes among "keys"', True),
    ({"disks": [dict(DISK, uuid=UUID)]}, "/disks/0/uuid: expected hexadecimal groups 8-4-4-4-12",
     True),
    ({"kms": {"servers": [{"port": 65536}]}},
     "/kms/servers/0/port: expected an integer from -1 to 65535", True),
    ({"kms": {"trustedCertificates": ["secret"]}},
     "/kms/trustedCertificates/0: expected the text of one certificate", False),
    ({"cloudKms": {"a": {}}}, '/cloudKms/a: expected a member "good"', True),
    ({"agents": [dict(AGENT, type="host")]},
     '/agents/0/type: expected "node", "witness", "metadata" or "remote"', True),
    ({"agents": [dict(AGENT, address="here")]},
     "/agents/0/address: expected an IPv4 or IPv6 address", False),
    ({"recordedAgents": [AGENT, AGENT]}, "/recordedAgents/1: expected an agent that is not listed "
     'before (Unicast agent "n" at 192.0.2.1 port 12321)', False),
    ({"interfaces": [{"name": "i", "ttl": 1 << 31}]},
     "/interfaces/0/ttl: expected an integer from -2147483648 to 2147483647", True),
    ({"diskGroups": [{"name": "g", "formatVersion": 1, "t1Disks": ["t"]}]},
     '/diskGroups/0/t1Disks/0: expected the name of one of "t1Disks" that no other disk group has',
     False),
    ({"objects": [{"uuid": UUID + "1", "group": UUID + "2"}], "capacity": ROOM},
     "/objects/0/group: expected the UUID of an object of class DPCONSISTENCYGROUP, which stands "
     "in none", False),
    ({"objects": [{"uuid": UUID + "1", "size": 1.5}], "capacity": ROOM},
     "/objects/0/size: expected an integer from 0 to 1152921504606846976", True),
    ({"objects": [GROUP]}, '/objects: expected objects that fit into "capacity"', False),
    ({"disks": [dict(DISK, dek="00")]}, "/disks/0/dek: " + BESIDE, True),
    ({"disks": [dict(SECRET, dek="00")], "keys": [KEK]},
     "/disks/0/dek: expected 128 hexadecimal digits", True),
    ({"disks": [dict(SECRET, dek="ab" * 64)], "keys": [KEK]},
     "/disks/0/dek: expected two halves that differ", False),
    ({"disks": [SECRET], "keys": [dict(KEK, key="00" * 31)]},
     '/disks/0/kekId: expected the id of a key of 32 bytes among "keys"', False),
    ({"disks": [dict(DISK, kekId="k" * 80)]}, "/disks/0/kekId: " + FIELD.format(79), False),
    ({"disks": [dict(DISK, kekId="k\0")]}, "/disks/0/kekId: " + FIELD.format(79), False),
    ({"disks": [dict(DISK, clusterId="c" * 256)]}, "/disks/0/clusterId: " + FIELD.format(255),
     False),
    ({"disks": [dict(DISK, dekGenerationId=1 << 32)]},
     "/disks/0/dekGenerationId: expected an integer from 0 to 4294967295", True),
    ({"disks": [dict(SECRET, aws={"wrappedDek": "00"})]}, "/disks/0/dek: " + BESIDE, False),
    ({"disks": [dict(DISK, aws={"wrappedDek": "00" * 301})]},
     "/disks/0/aws/wrappedDek: expected an even number of hexadecimal digits, 0 to 600", True),
    ({"disks": [dict(DISK, encrypted=True)]}, '/disks/0: expected a member "dek", "wrapped" or '
     '"aws", since the disk is encrypted', False),
    ({"disks": [DISK, dict(DISK, name="e")]},
     "/disks/1: expected a name and a UUID that no other disk has", False),
    ({"disks": [DISK, dict(DISK, uuid=UUID + "2")]},
     "/disks/1: expected a name and a UUID that no other disk has", False),
    ({"keys": [{"id": "k", "key": "00" * 4097}]},
     "/keys/0/key: expected an even number of hexadecimal digits, 0 to 8192", True),
    ({"kms": {"passwords": [{"kekId": "", "kmipClusterId": "", "password": ""}] * 2}},
     "/kms/passwords/1: expected a KEK and KMIP cluster that no other password has", False),
    ({"agents": [dict(AGENT, address="192.0.2.7\0")]},
     "/agents/0/address: expected an IPv4 or IPv6 address", False),
    ({"agents": [dict(AGENT, port=1 << 31)]},
     "/agents/0/port: expected an integer from -2147483648 to 2147483647", True),
    ({"cluster": {}}, '/cluster: expected a member "id"', True),
    ({"cluster": {"id": "c", "unicastModes": {"c": 1}}},
     "/cluster/unicastModes/c: expected true or false", True),
    ({"interfaces": [{"name": "a", "agentGroup": "x"}]},
     "/interfaces/0/agentGroup: expected an IPv4 or IPv6 address", False),
    ({"objects": [{}]}, '/objects/0: expected a member "uuid"', True),
    ({"objects": [{"uuid": UUID}]},
     "/objects/0/uuid: expected a UUID: 8-4-4-4-12 hexadecimal digits", True),
    ({"objects": [OBJECT, OBJECT], "capacity": ROOM},
     "/objects/1/uuid: expected a UUID that no other object has", False),
    ({"objects": [dict(OBJECT, friendlyName="n"), dict(GROUP, friendlyName="n")],
      "capacity": ROOM},  # groups come first
     "/objects/0/friendlyName: expected a name that no other object has, not empty", False),
    ({"objects": [dict(OBJECT, allocType="INVALID")], "capacity": ROOM},
     "/objects/0/allocType: expected a way of allocation other than INVALID", True),
    ({"objects": [GROUP, dict(GROUP, uuid=UUID + "8", group=GROUP["uuid"])], "capacity": ROOM},
     "/objects/1/group: expected the UUID of an object of class DPCONSISTENCYGROUP, which stands "
     "in none", False),
    ({"objects": [dict(OBJECT, allocType="THICK", size=1 << 30)], "capacity": ROOM},
     '/objects: expected objects that fit into "capacity"', False),
    ({"t1Disks": {"d": {"f": 1 << 31}}},
     "/t1Disks/d/f: expected an integer from -2147483648 to 2147483647", True),
    ({"maxDiskVersion": 256}, "/maxDiskVersion: expected an integer from 0 to 255", True),
]

# Texts that are not even documents.
NOT_JSON = [
    ("", "line 1, column 1: syntax error while parsing value - unexpected end of input; expected "
     "'[', '{', or a literal"),
    ('{\n  "keys": [\n    {"id" "k"}', "line 3, column 13: syntax error while parsing object "
     "separator - unexpected string literal; expected ':'"),
    ('{"ilo": "sec\nret"}', "line 2, column 0: syntax error while parsing value - invalid string: "
     "control character U+000A (LF) must be escaped to \\u000A or \\n"),
    ('{"kekId": "a", "keys": [{"id": "a"}, {"id": "b", "id": "c"}], "kekId": "b"}',
     "/keys/1/id: expected this key once"),
    ("[]", "/: expected an object"),
]


class ScenarioTest(hosts.HostTestCase):

    def test_something_is_lost_between_document_and_dump(self):
        for document in (DEFAULT, EVERYTHING):
            self.assertEqual(self.load(document), "")
            dump = self.dump()
            for place, value in leaves(document):
                if not re.match("/disks/[^/]*/dek$", place):  # it is dumped wrapped
                    self.assertEqual(dict(leaves(dump)).get(place, place), value, place)
            self.tool("reset")
            self.assertEqual(self.load(dump), "")
            self.assertEqual(self.dump(), dump)

    def test_secret_is_dumped_unasked_or_nothing_is_said(self):
        self.load(EVERYTHING)
        result = hosts.quelt_host("dump")
        self.assertEqual(result.err, "Keys, DEKs and passwords are left out; with --secrets they "
                         "are printed too.\n")
        for secret in ("secret", "5ec3e7"):
            self.assertIn(secret, json.dumps(EVERYTHING))
            self.assertNotIn(secret, result.out)
        self.assertEqual(self.load(result.out), "")
        self.assertEqual(hosts.quelt_host("dump"), hosts.Result(0, result.out, ""))

    def test_bad_document_is_loaded_or_blamed_for_something_else(self):
        before = self.dump()
        texts = [(json.dumps(changes), line) for changes, line, _ in REFUSED] + NOT_JSON
        for text, line in texts:
            self.assertEqual(self.load(text), "quelt-host: {}\n".format(line))
        for path, reason in (("/nowhere/x.json", "No such file or directory"),
                             (self.fresh_folder(), "Is a directory")):
            result = hosts.quelt_host("load", path)
            self.assertEqual(result, (1, "", "quelt-host: {}: {}\n".format(path, reason)))
        self.assertEqual(self.dump(), before)

    def test_key_is_known_to_loader_or_schema_alone(self):
        for path, schema in objects(EVERYTHING, SCHEMA):
            document = copy.deepcopy(EVERYTHING)
            place = document
            for key in path:
                place = place[key]
            place["?"] = 1
            known = self.load(document).split(": expected one of these keys instead: ")
            self.assertEqual(known[0], "quelt-host: " + "".join("/%s" % k for k in path + ["?"]))
            self.assertEqual(sorted(known[1].strip().split(", ")), sorted(schema["properties"]))

    def test_schema_refuses_a_good_document_or_takes_a_bad_one(self):
        for document in (DEFAULT, EVERYTHING, {}):
            self.assertEqual(list(faults(document, SCHEMA)), [])
        for changes, line, seen in REFUSED:
            self.assertEqual(bool(list(faults(changes, SCHEMA))), seen, line)


def leaves(value, place=""):
    """Every place of a document with its value, containers left out. Lists are in order, except
    where the host has an order of its own."""
    if isinstance(value, dict):
        for key in value:
            for leaf in leaves(value[key], place + "/" + key):
                yield leaf
    elif isinstance(value, list):
        for i, item in enumerate(value):
            name = str(i)
            if isinstance(item, dict) and place in ("/keys", "/disks", "/objects"):
                name = str(item.get("uuid", item.get("id")))
            for leaf in leaves(item, place + "/" + name):
                yield leaf
    else:
        yield place, value


def resolve(schema):
    return SCHEMA["$defs"][schema["$ref"].split("/")[-1]] if "$ref" in schema else schema


def objects(document, schema, path=()):
    """The paths of objects with keys of their own, the first of each kind, and their schemas."""
    schema = resolve(schema)
    if "properties" in schema:
        yield list(path), schema
    if isinstance(document, dict):
        below = [(key, schema.get("properties", {}).get(key) or schema["additionalProperties"])
                 for key in document]
    elif isinstance(document, list):
        below = [(i, schema["items"]) for i in range(len(document))]
    else:
        return
    seen = set()
    for key, inner in below:
        for found in objects(document[key], inner, path + (key,)):
            kind = id(found[1])
            if kind not in seen:
                seen.add(kind)
                yield found


def faults(value, schema):
    """What the schema finds wrong: the part of draft 2020-12 that our schema uses."""
    schema = resolve(schema)
    kinds = {"object": dict, "array": list, "string": str, "boolean": bool, "integer": int}
    kind = kinds[schema["type"]]
    if not isinstance(value, kind) or (kind is int and isinstance(value, bool)):
        yield "type"
        return
    if value not in schema.get("enum", [value]):
        yield "enum"
    if kind is str and not re.search(schema.get("pattern", ""), value):
        yield "pattern"
    if kind is str and len(value) < schema.get("minLength", 0):
        yield "minLength"
    if kind is int and not schema.get("minimum", value) <= value <= schema.get("maximum", value):
        yield "range"
    for item in value if kind is list else []:
        for fault in faults(item, schema["items"]):
            yield fault
    if kind is dict:
        for key in schema.get("required", []):
            if key not in value:
                yield "required"
        for key in value:
            inner = schema.get("properties", {}).get(key, schema["additionalProperties"])
            for fault in faults(value[key], inner) if inner else ["key"]:
                yield fault


if __name__ == "__main__":
    unittest.main()
