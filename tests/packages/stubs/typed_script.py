"""A strict type checker accepts every unmarked line, and reports marks that suppress nothing."""

import pathlib
import subprocess
from typing import Any, Dict, Iterator, List, Optional, Tuple

import pyquelt
import pytest
import quelt_testing


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


def mistakes(disk: str) -> bytes:
    pyquelt.SetKekId(1)  # type: ignore[arg-type]
    pyquelt.SetKekId(kekId="kek")  # type: ignore[call-arg]
    pyquelt.ShallowRekey(disk)  # type: ignore[arg-type]
    pyquelt.Decrypt2kBlock("dek", 0, b"")  # type: ignore[arg-type]
    pyquelt.CreateObject(ufn=None)  # type: ignore[arg-type]
    pyquelt.CreateObject("disk")  # type: ignore[call-arg]
    pyquelt.DeleteObject()  # type: ignore[call-arg]
    pyquelt.GetEncInfoForDisk(disk)["kek"]  # type: ignore[typeddict-item]
    pyquelt.GetKmsPasswordFromConfigStore("kek", "kmip").upper()  # type: ignore[union-attr]
    pyquelt.OBJ_ALLOC_TYPE_THIN = 1  # type: ignore[misc]
    pyquelt.__version__  # type: ignore[attr-defined]
    quelt_testing.run("true").code.upper()  # type: ignore[attr-defined]
    quelt_testing.Host(1)  # type: ignore[arg-type]
    quelt_testing.Host().run_python("script.py", time=1)  # type: ignore[call-arg]
    return pyquelt.GetHardwareSku()  # type: ignore[return-value]


@pytest.fixture
def quelt_scenario() -> Iterator[Dict[str, Any]]:
    yield {"hardwareSku": "QS-1"}


def test_script(quelt_host: quelt_testing.Host) -> None:
    quelt_host.fail("SetIloAuth", throw="locked", after=1, delay=0.5)
    result = quelt_host.run_python(
        "script.py", timeout=10, env={"A": "b"})  # type: quelt_testing.Result
    assert result.code == -9 and "locked" in result.out + result.err
    assert [each["message"] for each in quelt_host.journal("SetIloAuth")] == ["locked"]


def read(folder: pathlib.Path) -> str:
    with quelt_testing.Host(folder / "host.json") as host:
        try:
            code, out, err = quelt_testing.run(["sh", b"-c", "true"], host.state, cwd="/")
        except (quelt_testing.ToolError, subprocess.TimeoutExpired):
            host.heal()
        return str(host.dump(secrets=True)["hardwareSku"]) + host.tool("show", 1, input="x")
