"""Tests without type errors: a strict checker accepts them with the types of quelt_testing."""

import pathlib
import subprocess
from typing import Any, Dict, Iterator

import pytest
import quelt_testing


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
