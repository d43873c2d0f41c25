"""Reads the host that this process runs on, as a scenario for an embedded host.

    python3 -m quelt_testing capture --disks naa.1 naa.2 > host.json

Only functions of pyquelt that read are called, so this works with any host library. Keys and
passwords are not read: values that the copy needs in their place are generated, from their names
alone, so that two captures of a host can be compared.

The entry "captured" of the scenario records which calls were made, which failed, which facts a
scenario can't express, which values were generated, and what no function reads.
"""

import collections
import hashlib
import json
import socket
import time
import uuid
from typing import Any, Dict, Iterable, List, Optional, Sequence, Set, Tuple

_Object = Dict[str, Any]

#: Sections that no function reads.
_UNREAD = ["/diskGroups", "/features/csd", "/kms/clientCertificates", "/kms/keys",
           "/kms/trustedCertificates", "/timeMachine"]
#: Sections that are read only with check_kms.
_UNCHECKED = ["/cloudKms", "/kms/statuses"]

_AGENT_TYPES = ["node", "witness", "metadata", "remote"]
_OBJECT_CLASSES = ["VDISK", "SNAPSHOT", "VMNAMESPACE", "VMSWAP", "VMEM", "SIDECAR", "TOVIPERSIST",
                   "COREDUMP", "DPCONSISTENCYGROUP", "HULFS"]

# The names of the same values in the scenario and in the result of the function.
_ADDRESSES = {"agentGroup": "Agent Group Multicast Address",
              "agentV6Group": "Agent Group IPv6 Multicast Address",
              "masterGroup": "Master Group Multicast Address",
              "masterV6Group": "Master Group IPv6 Multicast Address"}
_INTERFACE = {"name": "ZelNic Name", "uuid": "Interface UUID", "trafficType": "Traffic Type",
              "agentPort": "Agent Group Multicast Port",
              "masterPort": "Master Group Multicast Port",
              "unicastPort": "Host Unicast Channel Bound Port", "ttl": "Multicast TTL"}
_CAPACITY = {"physical": "physicalCapacity", "dedupMetadata": "dedupMetadataSize",
             "transient": "transientSpace", "physicalTransient": "physicalTransientSpace",
             "logical": "logicalCapacity", "physicalUsed": "physicalUsed",
             "logicalUsed": "logicalUsed", "fsOverhead": "logicalFSOverhead",
             "blockAttributes": "blkAttrOverhead"}

# What the loader of a scenario accepts.
_MOST_BYTES = 1 << 60
_MOST_PORT = 65535
_MOST_NUMBER = (1 << 31) - 1
_KEK_ID_BYTES = 79
_CLUSTER_ID_BYTES = 255

# Sizes in bytes.
_KEK, _DEK, _CLOUD_DEK, _PASSWORD = 32, 64, 184, 12

_KMS_SECONDS = 10


class CaptureError(Exception):
    """No call succeeded."""


def read_host(disks: Iterable[str] = (), objects: Iterable[str] = (), check_kms: bool = False,
              module: Any = None) -> _Object:
    """Returns a scenario of the host.

    disks: names of disks, in addition to those of GetT1DiskInfo.
    objects: UUIDs of objects.
    check_kms: also call CheckKmsStatus and CheckCloudKmsStatus, which contact the key servers.
    module: pyquelt, or a module with the same functions.

    Raises CaptureError if no call succeeds, and ImportError if pyquelt can't be imported.
    """
    if module is None:
        import pyquelt
        module = pyquelt
    return _Capture(module).read(list(disks), list(objects), check_kms)


class _Capture(object):
    """One capture. Each _read function fills its sections of the scenario."""

    def __init__(self, module: Any) -> None:
        self._module = module
        self._document = {}    # type: _Object
        self._calls = []       # type: List[_Object]
        self._failed = []      # type: List[_Object]
        self._changed = []     # type: List[str]
        self._generated = []   # type: List[str]
        self._unread = list(_UNREAD)
        self._keys = collections.OrderedDict()    # type: Dict[str, _Object]
        # The KEKs that the host names, with their KMIP clusters.
        self._keks = set()     # type: Set[Tuple[str, str]]

    def read(self, disks: List[str], objects: List[str], check_kms: bool) -> _Object:
        self._read_settings()
        self._read_agents()
        self._read_mode()
        self._read_interfaces()
        self._read_kms()
        self._read_disks(disks)
        if check_kms:
            self._check_kms()
        else:
            self._unread += _UNCHECKED
        self._generate_secrets()
        self._read_objects(objects)
        self._read_capacity()
        if not self._calls:
            raise CaptureError("No call of pyquelt succeeded. The first one failed with "
                               + self._failed[0]["error"])
        captured = collections.OrderedDict([
            ("time", time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime())), ("read", self._calls),
            ("failed", self._failed), ("changed", self._changed),
            ("generated", sorted(set(self._generated))), ("unread", sorted(self._unread))])
        document = collections.OrderedDict([("captured", captured)])  # type: _Object
        document.update(sorted(self._document.items()))
        return document

    def _call(self, function: str, *arguments: Any) -> Any:
        """Calls a function that reads. Returns None if it fails, and records both."""
        call = collections.OrderedDict([("function", function), ("arguments", list(arguments))])
        try:
            result = getattr(self._module, function)(*arguments)
        except MemoryError:
            raise
        except Exception as error:
            self._fail(call, "{}: {}".format(type(error).__name__, error))
            return None
        self._calls.append(call)
        return result

    def _fail(self, call: _Object, error: str) -> None:
        self._failed.append(collections.OrderedDict(call, error=error))

    def _change(self, text: str, *arguments: object) -> None:
        self._changed.append(text.format(*arguments))

    def _put(self, key: str, value: Any) -> None:
        if value is not None:
            self._document[key] = value

    # --- the sections ---------------------------------------------------------------------------

    def _read_settings(self) -> None:
        for key, function in (("hardwareSku", "GetHardwareSku"), ("kekId", "GetKekId"),
                              ("hostKeyId", "GetHostKeyId"),
                              ("perfsvc", "GetPerfsvcHostConfigStore"),
                              ("t1Disks", "GetT1DiskInfo"),
                              ("maxDiskVersion", "GetOqtaCappedMaxDiskVersion")):
            self._put(key, self._call(function))
        self._document["ilo"] = {"first": "generated", "second": _password("ilo")}
        self._generated.append("/ilo")

    def _read_agents(self) -> None:
        known = set()  # type: Set[Tuple[str, str, int]]
        listed = self._call("GetUnicastAgents")
        all_agents = self._call("GetUnicastAgents", True)
        self._put("agents", self._agents(listed, known))
        if listed is not None:
            self._put("recordedAgents", self._agents(all_agents, known))
        agents = _flat(listed) + _flat(all_agents)
        if not agents:
            self._unread.append("/features/metadataNode")
            return
        by_type = any("nodeType" in agent for _, agent in agents)
        self._document["features"] = {"metadataNode": by_type}
        if any(agent.get("nodeType") == _AGENT_TYPES.index("remote") for _, agent in agents):
            self._document["features"]["csd"] = True
            self._unread.remove("/features/csd")
        if not by_type:
            self._change("While the metadata-node feature is off, only witnesses are recognised: "
                         "all other agents have the type node")

    def _agents(self, listing: Any, known: Set[Tuple[str, str, int]]) -> Optional[List[_Object]]:
        """Returns the agents that are not yet in `known`, and adds them to it."""
        if listing is None:
            return None
        agents = []
        here = set()  # type: Set[Tuple[str, str, int]]
        for node, agent in _flat(listing):
            address = _address(agent["address"])
            identity = (node, address or "", agent["port"])
            name = 'Agent "{}" at "{}" port {}'.format(node, agent["address"], agent["port"])
            if identity in known:
                continue
            if address is None:
                self._change("{} is left out: this is no IPv4 or IPv6 address", name)
            elif identity in here:
                self._change("{} is listed more than once: the first one is used", name)
            else:
                here.add(identity)
                agents.append(self._agent(node, agent, address, name))
        known.update(here)
        return agents

    def _agent(self, node: str, agent: _Object, address: str, name: str) -> _Object:
        number = agent.get("nodeType", 1 if agent.get("isWitness") else 0)
        if not 0 <= number < len(_AGENT_TYPES):
            self._change("{} has the unknown type {}; it has the type node here", name, number)
            number = 0
        entry = collections.OrderedDict(uuid=node, type=_AGENT_TYPES[number], address=address)
        for key in "isSupportUnicast", "port", "hostname", "thumbprint", "subClusterUuid":
            entry[key] = agent[key]
        if agent["zelnic"]:
            entry["interface"] = agent["zelnic"]
        return entry

    def _read_mode(self) -> None:
        mode = self._call("GetUnicastMode")
        cluster = str(_uuid("cluster"))
        # Without a mode, the copy fails at this call too.
        modes = {} if mode is None else {cluster: mode}
        self._document["cluster"] = {"id": cluster, "unicastModes": modes}
        self._generated.append("/cluster/id")

    def _read_interfaces(self) -> None:
        interfaces = self._call("GetQueltNetworkInfo")
        # These names are complete; those of GetQueltNetworkInfo end at a NUL character.
        complete = iter(self._call("GetQueltZelnicNames") or [])
        if interfaces is None:
            return
        entries = []
        for info in interfaces:
            entry = {key: info[name] for key, name in _INTERFACE.items()}
            if entry["trafficType"] in ("quelt", "all"):
                entry["name"] = next(complete, entry["name"])
            for key, name in _ADDRESSES.items():
                address = _address(info[name])
                if address is None:
                    self._change('Interface "{}" has the {} "{}", which is no address: the copy '
                                 "has the default", entry["name"], name, info[name])
                else:
                    entry[key] = address
            entries.append(entry)
        self._document["interfaces"] = entries

    def _read_kms(self) -> None:
        # Statuses, even none, mean that the copy never contacts the key servers of this host.
        self._document["kms"] = {"servers": [], "statuses": {}}
        for server in self._call("GetKms") or []:
            entry = {}
            for key, value in server.items():
                most = _MOST_PORT if key in ("port", "proxyPort") else _MOST_NUMBER
                if isinstance(value, int) and not 0 <= value <= most:
                    self._change('Key server "{}" has the {} {}, which is left out',
                                 server.get("name", ""), key, value)
                elif key != "password":
                    entry[key] = value
            self._document["kms"]["servers"].append(entry)

    def _read_disks(self, named: Sequence[str]) -> None:
        entries = []
        names = sorted(self._document.get("t1Disks", {}))
        for name in names + [name for name in _unique(named) if name not in names]:
            info = self._call("GetEncInfoForDisk", name)
            if info is not None:
                entries.append(self._disk(name, info))
        self._document["disks"] = entries
        kek = self._document.get("kekId")
        if kek:
            self._add_key(kek, "KEK", _bytes(_KEK, "kek", kek))
            for server in self._document["kms"]["servers"]:
                self._keks.add((kek, server.get("kmipClusterId", "")))

    def _disk(self, name: str, info: _Object) -> _Object:
        entry = {"name": name, "uuid": str(_uuid("disk", name)), "encrypted": info["encrypted"],
                 "dekGenerationId": info["dekGenerationId"]}
        self._generated.append("/disks/*/uuid")
        for key, most in (("kekId", _KEK_ID_BYTES), ("clusterId", _CLUSTER_ID_BYTES)):
            entry[key] = info[key]
            if len(info[key].encode("utf-8")) > most:
                self._change('Disk "{}" has a {} of more than {} bytes, which is left out', name,
                             key, most)
                entry[key] = ""
        dek = _bytes(_DEK, "dek", name)
        if info["useAwsKms"]:
            entry["aws"] = {"wrappedDek": _bytes(_CLOUD_DEK, "wrapped", name).hex()}
            self._generated.append("/disks/*/aws/wrappedDek")
        elif info["encrypted"]:
            self._add_key(entry["kekId"], "KEK", _bytes(_KEK, "kek", entry["kekId"]))
            self._keks.add((entry["kekId"], entry["clusterId"]))
            entry["dek"] = dek.hex()
            self._generated.append("/disks/*/dek")
        if info["dekInCache"]:
            self._add_key(entry["uuid"], "DEK", dek)
        return entry

    def _add_key(self, name: str, attribute: str, key: bytes) -> None:
        self._keys[name] = collections.OrderedDict(id=name, attribute=attribute, key=key.hex())

    def _check_kms(self) -> None:
        statuses = self._document["kms"]["statuses"]
        for kek, cluster in sorted(self._keks):
            status = self._call("CheckKmsStatus", cluster, kek, _KMS_SECONDS)
            if status is not None:
                statuses.setdefault(cluster, {})[kek] = status
        answers = {disk["name"]: self._call("CheckCloudKmsStatus", disk["name"])
                   for disk in self._document["disks"] if "aws" in disk}
        self._document["cloudKms"] = {name: answer for name, answer in answers.items()
                                      if answer is not None}

    def _generate_secrets(self) -> None:
        self._document["keys"] = list(self._keys.values())
        self._document["kms"]["passwords"] = [
            {"kekId": kek, "kmipClusterId": cluster, "password": _password("kms", kek, cluster)}
            for kek, cluster in sorted(self._keks)]
        self._generated += ["/keys", "/kms/passwords"]

    def _read_objects(self, names: Sequence[str]) -> None:
        entries = []
        taken = set()  # type: Set[str]
        for name in _unique(str(uuid.UUID(name)) for name in names):
            found = self._call("GetObjectExtAttrs", [name])
            if found is None:
                continue
            if name not in found:
                self._fail(self._calls.pop(), "The object does not exist, can't be reached, or has "
                                              "no extended attributes")
                continue
            entry = {"uuid": name, "path": found[name]["objPath"]}
            number, friendly = found[name]["objClass"], found[name]["ufn"]
            if 0 <= number < len(_OBJECT_CLASSES):
                entry["class"] = _OBJECT_CLASSES[number]
            else:
                self._change("Object {} has the unknown class {}, which is left out", name, number)
            if friendly in taken:
                self._change('Object {} has the friendly name "{}" of another object, which is '
                             "left out", name, friendly)
            elif friendly:
                entry["friendlyName"] = friendly
                taken.add(friendly)
            entries.append(entry)
        self._document["objects"] = entries

    def _read_capacity(self) -> None:
        info = self._call("GetHostInfo")
        if info is None:
            self._document["capacity"] = {"physical": 1 << 50}
            self._generated.append("/capacity")
            return
        capacity = {}  # type: Dict[str, int]
        for key, name in _CAPACITY.items():
            capacity[key] = min(info[name], _MOST_BYTES)
        capacity["dedupMetadata"] = min(capacity["dedupMetadata"], capacity["physical"])
        for key, name in _CAPACITY.items():
            if capacity[key] != info[name]:
                self._change("{} is {}, which is more than possible: the copy has {}", name,
                             info[name], capacity[key])
        self._document["capacity"] = capacity


def _flat(listing: Any) -> List[Tuple[str, _Object]]:
    return [(node, agent) for node, agents in sorted((listing or {}).items()) for agent in agents]


def _unique(names: Iterable[str]) -> List[str]:
    return list(collections.OrderedDict.fromkeys(names))


def _address(text: str) -> Optional[str]:
    """Returns the canonical text of an IPv4 or IPv6 address, None for any other text."""
    for family in socket.AF_INET, socket.AF_INET6:
        try:
            return socket.inet_ntop(family, socket.inet_pton(family, text))
        except (OSError, ValueError):
            pass
    return None


def _bytes(size: int, *what: str) -> bytes:
    """Generates a value that only depends on what it is for."""
    seed = json.dumps(what).encode("ascii")
    blocks = [hashlib.sha256(seed + bytes([i])).digest() for i in range((size + 31) // 32)]
    return b"".join(blocks)[:size]


def _password(*what: str) -> str:
    return "generated-" + _bytes(_PASSWORD, *what).hex()


def _uuid(*what: str) -> uuid.UUID:
    return uuid.UUID(bytes=_bytes(16, *what), version=4)
