"""Scenario documents: loading and dumping preserves them, invalid ones are rejected, and the schema
for editors agrees with the loader."""

import collections
import copy
import json
import os
import re

import hosts

HERE = os.path.dirname(os.path.abspath(__file__))


def read_json(*path):
    with open(os.path.join(HERE, *path), encoding="utf-8") as file:
        return json.load(file, object_pairs_hook=collections.OrderedDict)


EVERYTHING = read_json("data", "everything.json")
DEFAULT = read_json("..", "..", "embedded_host", "scenario", "default_scenario.json")
SCHEMA = read_json("..", "..", "docs", "scenario.schema.json")

REPORT = "quelt-host: standard input: "
TYPES = {"object": dict, "array": list, "string": str, "boolean": bool, "integer": int}

# For each type a value of another type, and what the loader expects instead.
OTHER_TYPES = {"object": ([], "an object"), "array": ({}, "an array"), "string": (1, ""),
               "boolean": (1, "true or false"), "integer": ("1", "an integer from {} to {}")}

UUID = "33333333-aaaa-4bbb-8ccc-00000000000"
GROUP = {"uuid": UUID + "9", "class": "DPCONSISTENCYGROUP"}
AGENT = {"uuid": "n", "type": "node", "address": "192.0.2.1"}
DISK = {"name": "d", "uuid": UUID + "1"}
CAPACITY = {"physical": 1 << 30}
KEK = {"id": "k", "key": "00" * 32}
SECRET = dict(DISK, encrypted=True, kekId="k", dek="0" * 127 + "1")
OBJECT = {"uuid": UUID + "1"}
PASSWORD = {"kekId": "", "kmipClusterId": "", "password": ""}
CLIENTS = EVERYTHING["kms"]["clientCertificates"]
CLIENT = "a certificate and its key in PEM form ({})"
ADDRESS, DIGITS = "an IPv4 or IPv6 address", "an even number of hexadecimal digits, 0 to {}"
BESIDE = 'no DEK beside "wrapped" or "aws", and none for a disk that is not encrypted'
IN_A_GROUP = "the UUID of an object of class DPCONSISTENCYGROUP; such an object has no group itself"
FIELD = "a text of at most {} bytes, none of them zero"
ONCE = "a name and a UUID that no other disk has"
POINTER = 'a JSON pointer such as "/keys"'
LONG_KEY = 'the id of a key of 32 bytes among "keys"'

# The place, what is expected there, top-level keys. The first rows are invalid by the schema too;
# test_schema_and_loader_agree derives more of those from the schema.
REJECTED = [
    ("/hardwareSku", "a text", {"hardwareSku": 1}),
    ("/secretsOmitted", "an array", {"secretsOmitted": True}),
    ("/captured", "an object", {"captured": []}),
    ("/secretsOmitted/1", POINTER, {"secretsOmitted": ["/~1", "keys"]}),
    ("/secretsOmitted/0", POINTER, {"secretsOmitted": ["/a~"]}),
    ("/secretsOmitted/0", POINTER, {"agents": [], "secretsOmitted": ["/agents/9" + "9" * 20]}),
    ("/secretsOmitted/0", POINTER, {"secretsOmitted": [""]}),
    ("/keys/0/key", DIGITS.format(8192), {"keys": [dict(KEK, key="abc")]}),
    ("/disks/0/uuid", "hexadecimal groups 8-4-4-4-12", {"disks": [dict(DISK, uuid=UUID)]}),
    ("/disks/0/dek", "128 hexadecimal digits",
     {"disks": [dict(SECRET, dek="00")], "keys": [KEK]}),
    ("/disks/0/aws/wrappedDek", DIGITS.format(600),
     {"disks": [dict(DISK, aws={"wrappedDek": "zz"})]}),
    ("/agents/0/type", '"node", "witness", "metadata" or "remote"',
     {"agents": [dict(AGENT, type="host")]}),
    ("/objects/0/uuid", "a UUID: 8-4-4-4-12 hexadecimal digits", {"objects": [{"uuid": UUID}]}),
    ("/keys/1/id", "an id that no other key has", {"keys": [KEK, KEK]}),
    ("/disks/0/kekId", LONG_KEY, {"disks": [SECRET]}),
    ("/disks/0/kekId", LONG_KEY, {"disks": [SECRET], "keys": [dict(KEK, key="00" * 31)]}),
    ("/disks/0/dek", "two halves that differ",
     {"disks": [dict(SECRET, dek="ab" * 64)], "keys": [KEK]}),
    ("/disks/0/dek", BESIDE, {"disks": [dict(DISK, dek="00")]}),
    ("/disks/0/dek", BESIDE, {"disks": [dict(SECRET, aws={"wrappedDek": "00"})]}),
    ("/disks/0", 'a member "dek", "wrapped" or "aws", since the disk is encrypted',
     {"disks": [dict(DISK, encrypted=True)]}),
    ("/disks/0/kekId", FIELD.format(79), {"disks": [dict(DISK, kekId="k" * 80)]}),
    ("/disks/0/kekId", FIELD.format(79), {"disks": [dict(DISK, kekId="k\0")]}),
    ("/disks/0/clusterId", FIELD.format(255), {"disks": [dict(DISK, clusterId="c" * 256)]}),
    ("/disks/1", ONCE, {"disks": [DISK, dict(DISK, name="e")]}),
    ("/disks/1", ONCE, {"disks": [DISK, dict(DISK, uuid=UUID + "2")]}),
    ("/kms/trustedCertificates/0", "certificates in PEM form (The text holds no certificate)",
     {"kms": {"trustedCertificates": ["secret"]}}),
    ("/kms/clientCertificates/c", CLIENT.format("The text holds no certificate"),
     {"kms": {"clientCertificates": {"c": {"certificate": "secret"}}}}),
    ("/kms/clientCertificates/c", CLIENT.format("The key cannot be read as an unencrypted private "
                                                "key in PEM form"),
     {"kms": {"clientCertificates": {"c": dict(CLIENTS["kmip-a"], key="secret")}}}),
    ("/kms/clientCertificates/c", CLIENT.format("The key is not that of the first certificate"),
     {"kms": {"clientCertificates": {"c": dict(
         CLIENTS["kmip-a"], certificate=EVERYTHING["kms"]["trustedCertificates"][0])}}}),
    ("/kms/passwords/1", "a KEK and KMIP cluster that no other password has",
     {"kms": {"passwords": [PASSWORD, PASSWORD]}}),
    ("/agents/0/address", ADDRESS, {"agents": [dict(AGENT, address="here")]}),
    ("/agents/0/address", ADDRESS, {"agents": [dict(AGENT, address="192.0.2.7\0")]}),
    ("/recordedAgents/1", 'an agent that is not listed before (Unicast agent "n" at 192.0.2.1 port '
     "12321)", {"recordedAgents": [AGENT, AGENT]}),
    ("/interfaces/0/agentGroup", ADDRESS, {"interfaces": [{"name": "a", "agentGroup": "x"}]}),
    ("/diskGroups/0/t1Disks/0", 'the name of one of "t1Disks" that no other disk group has',
     {"diskGroups": [{"name": "g", "formatVersion": 1, "t1Disks": ["t"]}]}),
    ("/capacity/dedupMetadata", "an integer from 0 to 5",
     {"capacity": {"physical": 5, "dedupMetadata": 6}}),
    ("/objects/1/uuid", "a UUID that no other object has",
     {"objects": [OBJECT, OBJECT], "capacity": CAPACITY}),
    ("/objects/0/friendlyName", "a name that no other object has, not empty",  # groups come first
     {"objects": [dict(OBJECT, friendlyName="n"), dict(GROUP, friendlyName="n")],
      "capacity": CAPACITY}),
    ("/objects/0/allocType", "an allocation type other than INVALID",
     {"objects": [dict(OBJECT, allocType="INVALID")], "capacity": CAPACITY}),
    ("/objects/0/group", IN_A_GROUP,
     {"objects": [dict(OBJECT, group=UUID + "2")], "capacity": CAPACITY}),
    ("/objects/1/group", IN_A_GROUP,
     {"objects": [GROUP, dict(GROUP, uuid=UUID + "8", group=GROUP["uuid"])], "capacity": CAPACITY}),
    ("/objects", 'objects that fit into "capacity"', {"objects": [GROUP]}),
    ("/objects", 'objects that fit into "capacity"',
     {"objects": [dict(OBJECT, allocType="THICK", size=1 << 30)], "capacity": CAPACITY}),
]

# Texts that are not valid JSON, and the reported place. The JSON library's reason follows.
NOT_JSON = [
    ("", "line 1, column 1: "),
    ('{\n  "keys": [\n    {"id" "k"}', "line 3, column 13: "),
    ('{"ilo": "5ec\n3e7"}', "line 2, column 0: "),
    ('{"kekId": "a", "keys": [{"id": "a"}, {"id": "b", "id": "c"}], "kekId": "b"}',
     "/keys/1/id: expected this key once"),
]


def places(value, schema=SCHEMA, path=()):
    """Yields the path, value and schema of every place of a document. Fails at an unknown key."""
    schema = SCHEMA["$defs"][schema["$ref"].split("/")[-1]] if "$ref" in schema else schema
    yield path, value, schema
    if isinstance(value, list):
        for i, item in enumerate(value):
            yield from places(item, schema["items"], path + (i,))
    elif isinstance(value, dict):
        for key in value:
            inner = schema.get("properties", {}).get(key) or schema["additionalProperties"]
            yield from places(value[key], inner, path + (key,))


def fits(value, schema):
    """Validates by the part of JSON Schema 2020-12 that our schema uses."""
    kind = TYPES[schema["type"]]
    return (isinstance(value, kind) and isinstance(value, bool) == (kind is bool)
            and value in schema.get("enum", [value])
            and (kind is not str or re.search(schema.get("pattern", ""), value))
            and (kind is not str or len(value) >= schema.get("minLength", 0))
            and (kind is not int or schema["minimum"] <= value <= schema["maximum"])
            and (kind is not dict or all(key in value for key in schema.get("required", []))))


def invalid_values(value, schema):
    """Yields values that the schema rejects at a place, each with what the loader expects instead
    ("" for texts, where that differs from place to place)."""
    kind, limits = schema["type"], (schema.get("minimum"), schema.get("maximum"))
    other, expected = OTHER_TYPES[kind]
    numbers = (limits[0] - 1, limits[1] + 1, 1.5) if kind == "integer" else ()
    texts = (value + "0", "?", "") if kind == "string" else ()
    for bad in (other,) + numbers + tuple(text for text in texts if not fits(text, schema)):
        yield bad, expected.format(*limits)
    for key in schema.get("required", ()):
        yield {name: value[name] for name in value if name != key}, 'a member "%s"' % key


class ScenarioTest(hosts.HostTestCase):

    def assert_rejected(self, document, place, expected):
        line = self.load(document)
        start = REPORT + "%s: expected " % place
        self.assertEqual(line, start + (expected or line[len(start):-1]) + "\n")

    def test_dump_contains_everything_that_was_loaded(self):
        for document in (DEFAULT, EVERYTHING):
            self.assertEqual(self.load(document), "")
            dump = self.dump()
            document = copy.deepcopy(document)
            document["keys"].sort(key=lambda key: key["id"])  # the host's own order
            document["objects"].sort(key=lambda item: item["uuid"])
            dumped = {path: value for path, value, _ in places(dump)}
            for path, value, _ in places(document):
                # A DEK is dumped wrapped.
                if not isinstance(value, (dict, list)) and path[::2] != ("disks", "dek"):
                    self.assertEqual(dumped.get(path), value, path)
            self.tool("reset")
            self.assertEqual(self.load(dump), "")
            self.assertEqual(self.dump(), dump)

    def test_secrets_are_dumped_only_on_request_and_load_reports_missing_ones(self):
        self.load(EVERYTHING)
        result = hosts.quelt_host("dump")
        self.assertEqual(result.err,
                         "Keys, DEKs and passwords are omitted; --secrets includes them.\n")
        for secret in ("secret-", "5ec3e7"):
            self.assertIn(secret, json.dumps(EVERYTHING))
            self.assertNotIn(secret, result.out)
        document = json.loads(result.out)
        everything = ("/ilo, /kms/servers/0/password, /kms/passwords, "
                      "/kms/clientCertificates/kmip-a/key, /keys")
        for missing in everything, "/ilo":
            self.assertEqual(hosts.quelt_host("load", "-", input=json.dumps(document)), (
                0, "", REPORT + "dumped without secrets; missing: {}\n".format(missing)))
            document.update(keys=EVERYTHING["keys"], secretsOmitted=["/keys", "/ilo"])
        del document["secretsOmitted"]
        self.assertEqual(self.load(document), "")
        del document["keys"]
        self.assertEqual(json.loads(hosts.quelt_host("dump").out),
                         dict(document, secretsOmitted=["/keys"]))

    def test_rejects_an_invalid_document_and_names_the_place(self):
        before = self.dump()
        for place, expected, changes in REJECTED:
            self.assert_rejected(changes, place, expected)
        for text, start in NOT_JSON:
            line = self.load(text)
            self.assertRegex(line, "^" + REPORT + start + "[^\n]*\n$")
            self.assertNotIn("5ec", line)  # a secret of the document
        for path, reason in (("/nowhere", "No such file or directory"), ("/", "Is a directory")):
            self.assertEqual(hosts.quelt_host("load", path),
                             (1, "", "quelt-host: {}: {}\n".format(path, reason)))
        self.assertEqual(self.dump(), before)

    def test_schema_and_loader_agree(self):
        for document in (DEFAULT, EVERYTHING, {}):
            for path, value, schema in places(document):
                self.assertTrue(fits(value, schema), path)
        kinds = set()
        for path, value, schema in places(EVERYTHING):
            place = "".join("/" + str(key).replace("~", "~0").replace("/", "~1") for key in path)
            kind = re.sub(r"/\d+", "/*", place)
            if kind not in kinds:
                self.check_place((0,) + path, place, value, schema)
            kinds.add(kind)

    def check_place(self, path, place, value, schema):
        """The loader rejects what the schema rejects there, and has the same keys and defaults."""
        def loaded(changed):
            documents = parent = copy.deepcopy([EVERYTHING])
            for key in path[:-1]:
                parent = parent[key]
            parent[path[-1]] = changed
            return documents[0]

        for changed, expected in invalid_values(value, schema):
            self.assert_rejected(loaded(changed), place or "the document", expected)
        if "properties" in schema:
            known = self.load(loaded(dict(value, **{"?": 1}))).partition("instead: ")
            self.assertEqual(known[0], REPORT + "%s/?: expected one of these keys " % place)
            self.assertEqual(sorted(known[2].strip().split(", ")), sorted(schema["properties"]))
        for key, inner in schema.get("properties", {}).items():
            if "default" in inner:  # the same as a missing key
                given = dict(value, **{key: inner["default"]})
                missing = {name: given[name] for name in given if name != key}
                self.assertEqual(self.state_of(loaded(given)), self.state_of(loaded(missing)))

    def state_of(self, document):
        """The state after loading, without the wrapped DEKs, whose nonces are random; or the error
        of loading."""
        error = self.load(document)
        return error or re.sub(r'"wrapped": \{[^}]*\}', "", self.tool("dump", "--secrets"))
