"""The state file of the embedded host: its path, permissions and validation; the library's exported
symbols. test_store_load.py tests the state under load.
"""

import os
import shutil
import subprocess
import unittest

import pyquelt
import hosts

SKU = "QS-2240-AF"
READ = "import pyquelt; print(pyquelt.GetHardwareSku())"
WRITE = "import pyquelt; pyquelt.SetIloAuth('a', 'b')"

# Reads everything; a failure must be an exception, not a crash.
READ_ALL = """
import pyquelt
for words in ("GetHostInfo", "GetT1DiskInfo", "GetKms", "GetQueltNetworkInfo",
              "GetOqtaCappedMaxDiskVersion", "GetEncInfoForDisk naa.58ce38ee20a1c002",
              "GetWrappedDekFromDisk naa.58ce38ee20a1c002", "GetDekFromDisk naa.58ce38ee20a1c004"):
    try:
        getattr(pyquelt, words.split()[0])(*words.split()[1:])
    except (RuntimeError, ValueError):
        pass
"""

SUFFIXES = ("", "-control", "-shm", "-wal")
TEMPLATE = os.path.join(hosts.FOLDER, "template.db")
ALL_IN_ONE_FILE = "; PRAGMA wal_checkpoint(TRUNCATE)"

# A change to the state host.db, as a shell command or in SQL; the error text after the path; the
# opened path if it is another one.
RESET = "; to replace it with a new state: quelt-host reset --state {state}"
NO_STATE = ": not a database of a Quelt host; move it away to create a state there"
ODD_TABLES = ": its tables are not those of a Quelt host" + RESET
REJECTED = [
    ("echo hello >host.db", NO_STATE),
    (": >host.db", NO_STATE),
    ("rm host.db; mkfifo host.db", ": not a regular file"),
    ("rm host.db; mkdir host.db", ": Is a directory"),
    ("mv host.db x; ln -s x host.db", ": a symbolic link"),
    (": >x; ln -s x host.db-wal", "-wal: a symbolic link"),
    (": >x; ln -s x host.db-shm", "-shm: a symbolic link"),
    (": >x; ln -s x host.db-control", "-control: a symbolic link"),
    ("chmod 777 .", ": its folder can be changed by everybody"),
    ("dd if=/dev/zero of=host.db bs=100 seek=1 count=30 conv=notrunc 2>x",
     ": database disk image is malformed" + RESET),
    (":", ": File name too long", "x" * 300),
    (":", ": a path of {size} bytes, the longest is 497", "x" + "/x" * 250),
    (":", ": Not a directory", "host.db/host.db"),
    (":", ": a folder's path, not a file's", "new/"),
    ("PRAGMA application_id = 0", NO_STATE),
    ("PRAGMA user_version = 99",
     ": made by a newer host library (schema version 99, this one knows 3)"),
    ("PRAGMA user_version = 0", ODD_TABLES),
    ("CREATE TRIGGER t AFTER INSERT ON setting BEGIN DELETE FROM cached_key; END", ODD_TABLES),
    ("CREATE VIEW v AS SELECT * FROM cached_key", ODD_TABLES),
    ("ALTER TABLE injected_fault RENAME TO mistake", ODD_TABLES),
    ("DROP TRIGGER object_takes_space", ODD_TABLES),
]
# The same for another user. The capability lets it read the interpreter in any folder.
NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
          "--inh-caps=-all,+dac_read_search", "--ambient-caps=-all,+dac_read_search"]
REJECTED_FOR_NOBODY = [
    ("chown -R 65534 .; chmod 555 .", ": its folder cannot be written (Permission denied)"),
    (": >host.db-wal; chown -R 65534 .; chmod 555 .",
     ": its folder cannot be written (Permission denied)"),
    ("chmod 555 .", ": Permission denied", "new/host.db"),
    ("chown 1234 .; chmod 755 .", ": its folder belongs to another user"),
    ("chmod 1777 .", ": belongs to another user"),
]

# Values that are validated only when they are read.
ODD_VALUES = (
    "object SET class = 99", "object SET alloc_type = -1", "agent SET node_type = -2",
    "object SET uuid = x'00' WHERE class = 7",
    "disk SET uuid = x'00' WHERE position = 1", "disk SET metadata = x'00'",
    "disk SET aws = cast(zeroblob(192) || x'ffff' AS BLOB) || zeroblob(318)",
    "disk SET aws = replace(hex(zeroblob(256)), '00', 'x')",
    "disk SET metadata = cast(hex(zeroblob(256)) AS BLOB)", "kms_server SET port = 'port'",
    "zelnic SET agent_group = x'00'", "setting SET value = x'ff00' WHERE name = 'maxDiskVersion'")


def setUpModule():
    hosts.quelt_host("init", state=TEMPLATE)
    assert hosts.sqlite(TEMPLATE, ALL_IN_ONE_FILE[2:]) == [[0, 0, 0]]


def contents(folder):
    """Lists everything below the folder, but not the files beside the state: they may change."""
    return hosts.run(["sh", "-c", "find . -printf '%p %y %m\n' -type f -exec sha256sum {} + | "
                      "grep -Ev '(-wal|-shm|-control)( |$)' | sort"],
                     cwd=folder, env=hosts.FOREIGN).out


class StateTest(hosts.HostTestCase):

    def state(self, change=":", name="host.db"):
        """The path `name` in a new folder with a changed state host.db. No process uses that state,
        and its log is empty."""
        self.folder = self.fresh_folder()
        state = shutil.copy(TEMPLATE, self.folder + "/host.db")
        if change.split()[0].isupper():
            hosts.sqlite(state, change + ALL_IN_ONE_FILE)
        else:
            subprocess.check_call(["sh", "-ec", change], cwd=self.folder,
                                  env=dict(os.environ, **hosts.FOREIGN))
        return os.path.join(self.folder, name)

    def test_reset_erases_secrets_from_the_files(self):
        pyquelt.SetIloAuth("a", "s3cr3t-w0rd")
        self.tool("reset")
        # In another process: closing a file of the state here would release SQLite's locks on it.
        self.assertEqual(hosts.run(["sh", "-c", 'grep -l s3cr3t-w0rd "$0"*', hosts.STATE]),
                         (1, "", ""))

    def test_only_the_owner_can_read_the_state_whatever_the_umask(self):
        top = self.fresh_folder()
        state = os.path.join(top, "a", "b", "host.db")
        self.script("import os; os.umask(0);" + WRITE, state=state)
        for _ in range(2):
            modes = hosts.run(["find", "a", "-printf", "%m %p\n"], cwd=top).out
            self.assertEqual(sorted(modes.splitlines()), ["600 a/b/host.db" + suffix for suffix in
                                                          SUFFIXES] + ["700 a", "700 a/b"])
            for suffix in SUFFIXES:  # as after a copy; the next process restores them
                os.chmod(state + suffix, 0o666)
            self.script(READ, state=state)

    def test_environment_determines_the_path_of_the_state(self):
        home, folder = self.fresh_folder(), self.fresh_folder()
        for environment, expected in (
                ({"QUELT_HOST_STATE": "here.db", "XDG_STATE_HOME": home}, folder + "/here.db"),
                ({"XDG_STATE_HOME": home + "/s", "HOME": folder}, home + "/s/quelt/host.db"),
                ({"XDG_STATE_HOME": "not/absolute", "HOME": home},
                 home + "/.local/state/quelt/host.db"),
                ({"HOME": home}, home + "/.local/state/quelt/host.db")):
            command = ["env", "-i"] + ["=".join(pair) for pair in environment.items()]
            self.assertEqual(hosts.run(command + [hosts.TOOL, "init"], cwd=folder),
                             hosts.Result(0, expected + "\n", ""))
            self.assertTrue(os.path.exists(expected))
        empty = hosts.run(["env", "QUELT_HOST_STATE="] + hosts.PYTHON + [READ])
        self.assertIn("\nValueError: QUELT_HOST_STATE is empty: expected the path of ", empty.err)

    def test_state_in_memory_is_on_no_disk_and_not_inherited_by_a_child(self):
        folder = self.fresh_folder()
        script = """
import os, pyquelt, threading
pyquelt.SetIloAuth('a', 'b')
thread = threading.Thread(target=lambda: print(pyquelt.GetIloAuth(), flush=True))
thread.start(); thread.join()
if os.fork() == 0:
    print(pyquelt.GetHardwareSku(), flush=True)
    try:
        pyquelt.GetIloAuth()
    except ValueError:
        os._exit(0)
print(os.wait()[1], pyquelt.GetIloAuth())
"""
        self.assertEqual(self.script(script, state=":memory:", cwd=folder),
                         "('a', 'b')\n" + SKU + "\n0 ('a', 'b')\n")
        self.assertEqual(os.listdir(folder), [])

    def test_writes_after_removal_of_the_state_go_to_a_new_one(self):
        state = os.path.join(self.fresh_folder(), "host.db")
        for removed in ("*", ""):  # all files; the database without its log
            self.script("import os, pyquelt, sys\npyquelt.SetIloAuth('old', 'old')\n"
                        "os.system('rm $QUELT_HOST_STATE' + sys.argv[1])\n"
                        "pyquelt.SetPerfsvcHostConfigStore('new', 'new')\n", removed, state=state)
            self.assertEqual(
                self.script("import pyquelt; print(pyquelt.GetPerfsvcHostConfigStore()['new'])",
                            state=state), "new\n")
            result = hosts.run_python("import pyquelt; pyquelt.GetIloAuth()", state=state)
            self.assertIn("ValueError: Failed to get iLO credential", result.err)

    def assert_rejected(self, state, reason, script=READ, user=(), **options):
        """A script fails with an error that names the file and the reason; no file changes."""
        before = contents(self.folder)
        result = hosts.run(list(user) + hosts.PYTHON + [script], state=state, **options)
        # With coverage enabled, another user cannot write the profile, which is reported too.
        errors = [line for line in result.err.splitlines() if not line.startswith("profiling:")]
        expected = "ValueError: " + state + reason.format(size=len(state), state=state)
        self.assertEqual((result.code, errors[-1:]), (1, [expected]))
        self.assertIn(" d ", before)
        self.assertEqual(contents(self.folder), before)

    def test_rejects_an_unsafe_or_foreign_file_and_leaves_it_unchanged(self):
        for change, reason, *name in REJECTED:
            with self.subTest(change, reason=reason):
                self.assert_rejected(self.state(change, *name), reason)
        # A folder with the sticky bit, like /tmp, is safe.
        self.assertEqual(self.script(READ, state=self.state("chmod 1777 .")), SKU + "\n")

    def test_reset_replaces_a_damaged_state_and_nothing_else(self):
        for change, reason, *name in REJECTED:
            if RESET in reason:
                state = self.state(change)
                self.assertEqual(hosts.quelt_host("reset", state=state),
                                 (0, "", "The damaged state was replaced with a new one.\n"))
                self.assertEqual(self.script(READ, state=state), SKU + "\n")
        # Opening does not read the damaged page; reset changes it.
        state = self.state("truncate -s 50000 host.db")
        self.assertEqual(hosts.quelt_host("reset", state=state).code, 0)
        state = self.state("echo hello >host.db")
        self.assertEqual(hosts.quelt_host("reset", state=state),
                         (1, "", "quelt-host: " + state + NO_STATE + "\n"))

    @unittest.skipUnless(hosts.can_run(NOBODY + ["true"]), "only root can run as another user")
    def test_rejects_a_file_or_folder_of_another_user(self):
        for change, reason, *name in REJECTED_FOR_NOBODY:
            with self.subTest(change, reason=reason):
                self.assert_rejected(self.state(change, *name), reason, user=NOBODY)

    def test_untrusted_state_is_read_or_rejected_without_a_crash(self):
        for change in ODD_VALUES:
            state = self.state("UPDATE " + change)
            result = hosts.quelt_host("dump", "--secrets", state=state)
            self.assertRegex(result.err, "^(quelt-host: The host's state holds .*\n)?$", change)
            self.assertEqual(result.code, 1 if result.err else 0, change)
            self.assertIn(hosts.run_python(READ_ALL, state=state).code, (0, 1), change)

    def test_failed_opening_is_tried_again(self):
        state = self.state(": >blocked", "blocked/host.db")
        script = ("import os, pyquelt, sys\ntry: pyquelt.GetHardwareSku()\n"
                  "except ValueError: os.remove(sys.argv[1])\nprint(pyquelt.GetHardwareSku())")
        self.assertEqual(self.script(script, os.path.dirname(state), state=state), SKU + "\n")

    def test_writer_waits_up_to_the_time_out_and_readers_never_wait(self):
        state = self.state()
        holder = hosts.start_python(
            "import sqlite3, sys\n"
            "db = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
            "db.execute('BEGIN IMMEDIATE'); print('held', flush=True); sys.stdin.readline()\n",
            state)
        self.assertEqual(holder.stdout.readline(), "held\n")
        self.assertEqual(self.script(READ, state=state), SKU + "\n")
        self.assert_rejected(state, ": waited 1 s for another writer to finish", WRITE,
                             env={"QUELT_HOST_WAIT": "1"})
        holder.communicate("\n")
        self.script(WRITE, state=state)


class LibraryTest(unittest.TestCase):

    def test_library_exports_only_the_platform(self):
        listing = subprocess.check_output(
            ["nm", "-DC", "--defined-only", os.environ["PYQUELT_EMBEDDED_HOST"]]).decode()
        names = [line.split(" ", 2)[2] for line in listing.splitlines()]
        ours = ("HostCtl::", "ZelCtl::", "ObjLib_", "ObjUtil_", "DDBGet", "vtable for HostCtl::",
                "typeinfo for HostCtl::", "typeinfo name for HostCtl::")
        self.assertEqual([name for name in names if not name.startswith(ours)], [])
        self.assertIn("vtable for HostCtl::Lib::Quelt::QueltCtlException", names)
