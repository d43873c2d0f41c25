"""Each marked line has a type error: a strict checker reports marks that suppress nothing."""

import pyquelt
import quelt_testing


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
