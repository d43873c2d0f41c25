#!/usr/bin/env python3
"""A tour of pyquelt: prints each call as typed at the interpreter's prompt, and its result.

./run demo runs it on a fresh embedded host. Run directly, it changes the host that the module uses.
"""

import subprocess
import sys

import pyquelt

#: The global names of the steps.
NAMES = {"pyquelt": pyquelt}


def chapter(title):
    print("\n--- " + title + " ---")


def show(step):
    """Prints the step, runs it, and prints its value or exception."""
    print(">>> " + step)
    try:
        exec(compile(step, "<tour>", "single"), NAMES)
    except Exception as error:
        print("%s: %s" % (type(error).__name__, error))


def show_in_another_process(call):
    """Shows a call in a new process: stored values belong to the host, not to a process."""
    print("$ python3 -c 'import pyquelt; print(%s)'" % call)
    sys.stdout.flush()
    subprocess.check_call([sys.executable, "-c", "import pyquelt; print(%s)" % call])


def configuration_store():
    chapter("Configuration store")
    show("pyquelt.GetHardwareSku()")
    show("pyquelt.GetIloAuth()")
    show("pyquelt.SetIloAuth('admin', 'correct horse')")
    show("pyquelt.GetIloAuth()")
    show_in_another_process("pyquelt.GetIloAuth()")
    show("pyquelt.SetIloAuth('admin')")
    show("sorted(pyquelt.GetPerfsvcHostConfigStore().items())")
    show("pyquelt.SetPerfsvcHostConfigStore('verbosity', 'high')")
    show("pyquelt.GetPerfsvcHostConfigStore()['verbosity']")
    show("pyquelt.SetClusterTimeMachineConfigStore('snapshotInterval', '900')")


def encryption():
    chapter("Encryption: keys and disks")
    show("pyquelt.GetEncInfoForDisk('naa.58ce38ee20a1c001')")
    show("pyquelt.GetDekFromDisk('naa.58ce38ee20a1c001')")
    show("pyquelt.SetEncryptionEnabled(True)")
    show("pyquelt.CacheKey('kek-of-the-tour', 'KEK', bytes(range(32)))")
    show("pyquelt.SetKekId('kek-of-the-tour')")
    show("pyquelt.GetKekId()")
    show("pyquelt.SetEncryptionEnabled(True)")
    show("pyquelt.GetEncInfoForDisk('naa.58ce38ee20a1c001')")
    show("len(pyquelt.GetWrappedDekFromDisk('naa.58ce38ee20a1c001'))")
    show("dek = pyquelt.GetDekFromDisk('naa.58ce38ee20a1c001')")
    show("len(pyquelt.Decrypt2kBlock(dek, 7, bytes(2048)))")
    show("pyquelt.ShallowRekey(['naa.58ce38ee20a1c002'])")
    show("pyquelt.GetEncInfoForDisk('naa.58ce38ee20a1c002')['kekId']")
    show("pyquelt.RemoveKey('kek-2026-01')")
    show("pyquelt.GetKeyFromKeyCache('kek-2026-01')")
    show("pyquelt.SetHostKeyId('host-key-1')")
    show("pyquelt.GetHostKeyId()")

    chapter("Encryption: key management servers")
    show("[(server['name'], server['password']) for server in pyquelt.GetKms()]")
    show("pyquelt.CheckKmsStatus('kmip-a', 'kek-2026-01', 2)")
    show("pyquelt.CheckCloudKmsStatus('naa.58ce38ee20a1c004')")
    show("pyquelt.GetKmsPasswordFromConfigStore('kek-2026-01', 'kmip-a') is not None")
    show("pyquelt.AddKmsTrustedCert('no certificate at all')")


def unicast():
    chapter("Unicast membership")
    show("pyquelt.GetUnicastMode()")
    show("sorted(pyquelt.GetUnicastAgents())")
    show("pyquelt.AddUnicastAgent('2001:db8::9', '52e1c7a6-0000-4000-8000-000000000009', 'node',"
         " True, hostname='host-9')")
    show("pyquelt.GetUnicastAgents()['52e1c7a6-0000-4000-8000-000000000009']")
    show("pyquelt.AddUnicastAgent('2001:db8::9', '52e1c7a6-0000-4000-8000-000000000009', 'node')")
    show("pyquelt.RemoveUnicastAgent('2001:db8::9', '52e1c7a6-0000-4000-8000-000000000009')")
    show("pyquelt.SetUnicastInfoInConfigStore('192.0.2.40', type='witness')")
    show("len(pyquelt.GetUnicastAgents(includeExtra=True)) - len(pyquelt.GetUnicastAgents())")
    show("pyquelt.AddUnicastAgent('192.0.2.300')")


def network():
    chapter("Network interfaces")
    show("pyquelt.GetQueltZelnicNames()")
    show("pyquelt.GetQueltNetworkInfo()[0]")


def objects():
    chapter("Objects")
    show("uuid = pyquelt.CreateObject(ufn='tour', size=10 * 2 ** 30,"
         " allocType=pyquelt.OBJ_ALLOC_TYPE_THICK)")
    show("uuid")
    show("pyquelt.CreateObject(ufn='tour')")
    show("pyquelt.GetObjectExtAttrs([uuid, '0d4c8f62-91be-4a57-b0e6-3f5a7c21d801'])")
    show("pyquelt.DeleteObject(uuid)")
    show("pyquelt.GetObjectExtAttrs([uuid])")
    show("pyquelt.DeleteObject('no identifier')")


def disks_and_host():
    chapter("Disks and host")
    show("pyquelt.GetOqtaCappedMaxDiskVersion()")
    show("pyquelt.UpgradeFormatVersionForDiskGroup('group-1')")
    show("sorted(pyquelt.GetT1DiskInfo()['naa.58ce38ee20a1c001'].items())")
    show("sorted(pyquelt.GetHostInfo().items())")


def copy():
    chapter("A copy of this host, without its secrets")
    show("from quelt_testing.capture import read_host")
    show("sorted(read_host())")


def rehearsal():
    chapter("What a script leaves behind if an operation fails")
    show("import quelt_testing, sys")
    show("script = 'import pyquelt; pyquelt.SetKekId(\"k\"); pyquelt.SetHostKeyId(\"h\")'")
    show("runs = quelt_testing.rehearse([sys.executable, '-c', script], modes=['throw', 'kill'])")
    show("[(run.id, run.verdict) for run in runs]")


if __name__ == "__main__":
    configuration_store()
    encryption()
    unicast()
    network()
    objects()
    disks_and_host()
    copy()
    rehearsal()
