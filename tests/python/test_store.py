"""The state of the embedded host: where it lives, who may read it, what it refuses, and what its
library shows to the linker. What happens under load stands in test_store_load.py.
"""

import glob
import os
import shutil
import stat
import subprocess
import sys
import unittest

import pyquelt
import hosts

SKU = "QS-2240-AF"
READ = "import pyquelt; print(pyquelt.GetHardwareSku())"

# Reads all there is; what fails, fails with an exception.
EVERYTHING = (
    "import json, pyquelt\n"
    "for name, args in (('GetHostInfo', ()), ('GetT1DiskInfo', ()), ('GetKms', ()),\n"
    "                   ('GetQueltNetworkInfo', ()), ('GetOqtaCappedMaxDiskVersion', ()),\n"
    "                   ('GetEncInfoForDisk', ('naa.58ce38ee20a1c002',)),\n"
    "                   ('GetWrappedDekFromDisk', ('naa.58ce38ee20a1c002',)),\n"
    "                   ('GetDekFromDisk', ('naa.58ce38ee20a1c004',))):\n"
    "    try:\n"
    "        getattr(pyquelt, name)(*args)\n"
    "    except (RuntimeError, ValueError):\n"
    "        pass\n")

SUFFIXES = ("", "-wal", "-shm", "-control")

# Another program's database, in a process of its own: see hosts.sqlite.
FOREIGN = "PRAGMA journal_mode = WAL; CREATE TABLE t (a); INSERT INTO t VALUES (1)"


def contents(folder):
    """Each file below the folder with its bytes; None for what is no file."""
    found = {}
    for path in glob.glob(os.path.join(folder, "**"), recursive=True):
        if stat.S_ISREG(os.stat(path).st_mode):
            with open(path, "rb") as file:
                found[path] = file.read()
        else:
            found[path] = None
    return found


def write(path, data):
    with open(path, "wb") as file:
        file.write(data)


def as_nobody():
    """In a child process: what root may do doesn't show what permissions are for."""
    if os.getuid() == 0:
        os.setgid(65534)
        os.setuid(65534)


def reachable_by_nobody():
    library = os.path.dirname(os.environ["PYQUELT_EMBEDDED_HOST"])
    return all(os.stat(path).st_mode & 1 for path in (library, sys.executable, "/root"))


class StateTest(hosts.HostTestCase):

    def test_setting_is_lost_between_processes_or_survives_a_reset(self):
        pyquelt.SetIloAuth("root", u"gr\u00fc\u00df")
        self.assertEqual(self.script("import pyquelt; print(ascii(pyquelt.GetIloAuth()))"),
                         ascii(("root", u"gr\u00fc\u00df")) + "\n")
        self.tool("reset")
        self.assert_raises_exactly(ValueError, "Failed to get iLO credential", pyquelt.GetIloAuth)

    def test_deleted_secret_stays_readable_after_a_reset(self):
        pyquelt.SetIloAuth("a", "s3cr3t-w0rd")
        self.tool("reset")
        # In another process: closing a file of the state here would drop SQLite's locks on it.
        self.assertEqual(self.script(
            "import glob, sys\n"
            "for path in glob.glob(sys.argv[1] + '*'):\n"
            "    if b's3cr3t-w0rd' in open(path, 'rb').read():\n"
            "        print(path)\n", hosts.STATE), "")

    def test_others_may_read_the_state_under_an_open_umask(self):
        top = self.fresh_folder()
        state = os.path.join(top, "a", "b", "host.db")
        self.script("import os; os.umask(0); import pyquelt; pyquelt.SetIloAuth('a', 'b')",
                    state=state)
        for _ in range(2):
            modes = {os.path.relpath(path, top): stat.S_IMODE(os.stat(path).st_mode)
                     for path in contents(os.path.join(top, "a"))}
            self.assertEqual(modes.pop("a"), 0o700)
            self.assertEqual(modes.pop("a/b"), 0o700)
            self.assertEqual(modes, {"a/b/host.db" + suffix: 0o600 for suffix in SUFFIXES})
            for suffix in SUFFIXES:  # as after a copy: the next process mends it
                os.chmod(state + suffix, 0o666)
            self.script(READ, state=state)

    def test_state_is_looked_for_in_the_wrong_place(self):
        home, folder = self.fresh_folder(), self.fresh_folder()
        for environment, expected in (
                ({"QUELT_HOST_STATE": "here.db", "XDG_STATE_HOME": home}, folder + "/here.db"),
                ({"XDG_STATE_HOME": home + "/s", "HOME": folder}, home + "/s/quelt/host.db"),
                ({"XDG_STATE_HOME": "not/absolute", "HOME": home},
                 home + "/.local/state/quelt/host.db"),
                ({"HOME": home}, home + "/.local/state/quelt/host.db")):
            with self.subTest(expected):
                command = ["env", "-i"] + [name + "=" + value
                                           for name, value in environment.items()]
                self.assertEqual(hosts.run(command + [hosts.TOOL, "init"], cwd=folder),
                                 hosts.Result(0, expected + "\n", ""))
                self.assertTrue(os.path.exists(expected))

    def test_state_in_memory_reaches_the_disk_or_a_child(self):
        folder = self.fresh_folder()
        script = (
            "import os, pyquelt, threading\n"
            "pyquelt.SetIloAuth('a', 'b')\n"
            "seen = []\n"
            "thread = threading.Thread(target=lambda: seen.append(pyquelt.GetIloAuth()))\n"
            "thread.start(); thread.join()\n"
            "pid = os.fork()\n"
            "if pid == 0:\n"
            "    try:\n"
            "        pyquelt.GetIloAuth()\n"
            "    except ValueError:\n"
            "        os._exit(pyquelt.GetHardwareSku() != 'QS-2240-AF')\n"
            "    os._exit(9)\n"
            "print(seen, os.waitpid(pid, 0)[1], pyquelt.GetIloAuth())\n")
        self.assertEqual(self.script(script, state=":memory:", cwd=folder),
                         "[('a', 'b')] 0 ('a', 'b')\n")
        self.assertEqual(os.listdir(folder), [])

    def test_state_removed_under_a_running_process_swallows_writes(self):
        folder = self.fresh_folder()
        state = os.path.join(folder, "host.db")
        script = (
            "import glob, os, pyquelt, subprocess, sys\n"
            "state = os.environ['QUELT_HOST_STATE']\n"
            "pyquelt.SetIloAuth('old', 'old')\n"
            "for path in glob.glob(state + sys.argv[1]):\n"
            "    os.remove(path)\n"
            "pyquelt.SetPerfsvcHostConfigStore('new', 'new')\n")
        for removed in ("*", ""):  # everything; the database without its log
            with self.subTest(removed):
                self.script(script, removed, state=state)
                self.assertEqual(
                    self.script("import pyquelt; print(pyquelt.GetPerfsvcHostConfigStore()['new'])",
                                state=state), "new\n")
                result = hosts.run_python("import pyquelt; pyquelt.GetIloAuth()", state=state)
                self.assertIn("ValueError: Failed to get iLO credential", result.err)


class RefusalTest(hosts.HostTestCase):

    def refused(self, state, reason, folder=None, script=READ, **options):
        """A script gets an error that names the file and the reason; nothing has changed."""
        before = contents(folder or os.path.dirname(state))
        result = hosts.run_python(script, state=state, **options)
        lines = result.err.splitlines()
        self.assertEqual((result.code, lines[-1:]), (1, ["ValueError: " + state + ": " + reason]))
        after = contents(folder or os.path.dirname(state))
        for beside in ("-control", "-shm", "-wal"):  # not the state
            for found in before, after:
                found.pop(state + beside, None)
        self.assertEqual(after, before)

    def fresh_state(self):
        """A state made by a process that is gone, all of it in the one file."""
        template = os.path.join(hosts.FOLDER, "template.db")
        if not os.path.exists(template):
            self.tool("init", state=template)
            self.assertEqual(hosts.sqlite(template, "PRAGMA wal_checkpoint(TRUNCATE)"), [[0, 0, 0]])
        return shutil.copy(template, os.path.join(self.fresh_folder(), "host.db"))

    def test_file_that_is_no_state_is_taken_for_one_or_altered(self):
        folder = self.fresh_folder()
        state = os.path.join(folder, "host.db")
        no_state = "not a database of a Quelt host"
        for name, make, reason in (
                ("text", lambda: write(state, b"hello\n"), no_state),
                ("empty", lambda: write(state, b""), no_state),
                ("foreign", lambda: hosts.sqlite(state, FOREIGN), no_state),
                ("fifo", lambda: os.mkfifo(state), "not a regular file"),
                ("folder", lambda: os.mkdir(state), "Is a directory")):
            with self.subTest(name):
                make()
                self.refused(state, reason)
                (os.rmdir if name == "folder" else os.remove)(state)

    def test_link_or_open_folder_leads_elsewhere(self):
        for suffix in SUFFIXES:
            state = self.fresh_state()
            for kept in SUFFIXES[1:]:
                write(state + kept, b"") if not os.path.exists(state + kept) else None
            os.rename(state + suffix, state + ".elsewhere")
            os.symlink(state + ".elsewhere", state + suffix)
            result = hosts.run_python(READ, state=state)
            self.assertEqual(result.err.splitlines()[-1:],
                             ["ValueError: " + state + suffix + ": a symbolic link"])
        state = self.fresh_state()
        os.chmod(os.path.dirname(state), 0o777)
        self.refused(state, "its folder can be changed by everybody")
        os.chmod(os.path.dirname(state), 0o1777)
        self.assertEqual(self.script(READ, state=state), SKU + "\n")
        if reachable_by_nobody():
            os.chmod(hosts.FOLDER, 0o711)
            for owner, mode, reason in ((1234, 0o755, "its folder belongs to another user"),
                                        (0, 0o1777, "belongs to another user")):
                os.chmod(os.path.dirname(state), mode)
                os.chown(os.path.dirname(state), owner, owner)
                self.refused(state, reason, preexec_fn=as_nobody)

    def test_state_of_a_stranger_runs_statements_or_reads_beyond_its_values(self):
        for tampering in (
                "CREATE TRIGGER t AFTER INSERT ON setting BEGIN DELETE FROM cached_key; END",
                "CREATE VIEW v AS SELECT * FROM cached_key",
                "ALTER TABLE fault RENAME TO mistake",
                "DROP TRIGGER object_takes_space",
                "PRAGMA user_version = 0"):
            state = self.fresh_state()
            hosts.sqlite(state, tampering + "; PRAGMA wal_checkpoint(TRUNCATE)")
            self.refused(state, "its tables are not those of a Quelt host")
        for tampering in ("object SET class = 99", "object SET alloc_type = -1",
                          "object SET uuid = x'00' WHERE class = 7",
                          "disk SET uuid = x'00' WHERE position = 1",
                          "disk SET metadata = x'00'",
                          "disk SET aws = cast(zeroblob(192) || x'ffff' AS BLOB) || zeroblob(318)",
                          "disk SET aws = replace(hex(zeroblob(256)), '00', 'x')",
                          "disk SET metadata = cast(hex(zeroblob(256)) AS BLOB)",
                          "kms_server SET port = 'port'", "zelnic SET agent_group = x'00'",
                          "setting SET value = x'ff00' WHERE name = 'maxDiskVersion'"):
            state = self.fresh_state()
            hosts.sqlite(state, "UPDATE " + tampering)
            result = hosts.quelt_host("dump", "--secrets", state=state)
            self.assertIn(result.code, (0, 1), (tampering, result))
            self.assertIn(hosts.run_python(EVERYTHING, state=state).code, (0, 1), tampering)

    def test_damaged_or_newer_state_is_replaced(self):
        state = self.fresh_state()
        with open(state, "r+b") as file:
            file.seek(100)
            file.write(b"\xff" * 3000)
        self.refused(state, "database disk image is malformed")
        state = self.fresh_state()
        hosts.sqlite(state, "PRAGMA user_version = 99; PRAGMA wal_checkpoint(TRUNCATE)")
        self.refused(state,
                     "made by a newer host library (schema version 99, this one knows 1)")

    def test_system_failure_comes_without_file_or_reason(self):
        folder = self.fresh_folder()
        os.chmod(hosts.FOLDER, 0o711)
        os.chmod(folder, 0o555)
        self.addCleanup(os.chmod, folder, 0o700)
        write(os.path.join(folder, "file"), b"")
        self.refused(folder + "/" + "x" * 300, "File name too long")
        self.refused(folder + "/x" * 250,
                     "a path of %d bytes, the longest is 497" % (len(folder) + 500), folder=folder)
        self.refused(folder + "/file/host.db", "Not a directory", folder=folder)
        if reachable_by_nobody():
            self.refused(folder + "/new/host.db", "Permission denied", folder=folder,
                         preexec_fn=as_nobody)

    def test_failed_opening_is_not_tried_again(self):
        folder = self.fresh_folder()
        blocked = os.path.join(folder, "blocked")
        write(blocked, b"")
        self.assertEqual(self.script(
            "import os, pyquelt, sys\n"
            "for _ in range(2):\n"
            "    try:\n"
            "        print(pyquelt.GetHardwareSku())\n"
            "    except ValueError as error:\n"
            "        print(error)\n"
            "        os.remove(sys.argv[1])\n", blocked, state=blocked + "/host.db"),
            blocked + "/host.db: Not a directory\n" + SKU + "\n")

    def test_writer_waits_for_ever_or_holds_up_readers(self):
        state = self.fresh_state()
        holder = hosts.start_python(
            "import sqlite3, sys\n"
            "db = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
            "db.execute('BEGIN IMMEDIATE'); print('held', flush=True); sys.stdin.readline()\n",
            state)
        self.assertEqual(holder.stdout.readline(), "held\n")
        self.assertEqual(self.script(READ, state=state), SKU + "\n")
        self.refused(state, "waited 1 s for another writer to finish", env={"QUELT_HOST_WAIT": "1"},
                     script="import pyquelt; pyquelt.SetIloAuth('a', 'b')")
        holder.communicate("\n")
        self.script("import pyquelt; pyquelt.SetIloAuth('a', 'b')", state=state)


class LibraryTest(unittest.TestCase):

    def test_library_exports_more_than_the_platform(self):
        listing = subprocess.check_output(
            ["nm", "-DC", "--defined-only", os.environ["PYQUELT_EMBEDDED_HOST"]]).decode()
        names = [line.split(" ", 2)[2] for line in listing.splitlines()]
        ours = ("HostCtl::", "ZelCtl::", "ObjLib_", "ObjUtil_", "DDBGet", "vtable for HostCtl::",
                "typeinfo for HostCtl::", "typeinfo name for HostCtl::")
        self.assertEqual([name for name in names if not name.startswith(ours)], [])
        self.assertIn("vtable for HostCtl::Lib::Quelt::QueltCtlException", names)


if __name__ == "__main__":
    unittest.main()
