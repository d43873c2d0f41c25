"""A script without type errors: a strict checker accepts it with the stubs."""

from typing import Dict, List, Optional, Tuple

import pyquelt


def keys(disk: str) -> Tuple[bytes, bytes, str]:
    pyquelt.CacheKey("kek", "KEK", b"\0" * 32)
    pyquelt.ShallowRekey([disk])
    return (pyquelt.GetDekFromDisk(disk), pyquelt.Decrypt2kBlock(bytearray(64), 0, b"\0" * 2048),
            pyquelt.GetEncInfoForDisk(disk)["kekId"])


def hosts() -> Dict[str, List[str]]:
    pyquelt.AddUnicastAgent("192.0.2.1", type="node", hostname=None)
    agents = pyquelt.GetUnicastAgents(includeExtra=True)
    return {uuid: [agent["address"] for agent in listed] for uuid, listed in agents.items()}


def answers() -> Tuple[Optional[str], Tuple[str, str], int, str]:
    uuid = pyquelt.CreateObject(ufn="disk", size=1, allocType=pyquelt.OBJ_ALLOC_TYPE_THIN)
    pyquelt.DeleteObject(uuid, force=True)
    return (pyquelt.GetKmsPasswordFromConfigStore("kek", "kmip"), pyquelt.GetIloAuth(),
            pyquelt.GetHostInfo()["logicalUsed"], pyquelt.GetQueltNetworkInfo()[0]["IP Protocol"])
