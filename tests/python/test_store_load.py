"""The state under load: many processes and threads, forks, sudden ends.
"""

import collections
import os
import random
import signal
import time
import unittest

import deep
import hosts

CREATIONS = deep.full(600, otherwise=30)
CREATORS = 4
WRITES = deep.full(1000, otherwise=50)
FORKS = deep.full(200, otherwise=20)
KILLS = deep.full(100, otherwise=10)

# In each turn some children, let go at once, create a state and use it; no temporary file stays.
CREATE = (
    "import os, pyquelt, sys\n"
    "def create(state, number, start):\n"
    "    os.environ['QUELT_HOST_STATE'] = state\n"
    "    os.read(start, 1)\n"
    "    pyquelt.SetPerfsvcHostConfigStore(str(number), 'x')\n"
    "    config = pyquelt.GetPerfsvcHostConfigStore()\n"
    "    os._exit(0 if config[str(number)] == 'x' and config['verbosity'] == 'normal' else 1)\n"
    "for turn in range(int(sys.argv[2])):\n"
    "    state = os.path.join(sys.argv[1], str(turn), 'deeper', 'host.db')\n"
    "    start, go = os.pipe()\n"
    "    children = []\n"
    "    for number in range(int(sys.argv[3])):\n"
    "        children.append(os.fork())\n"
    "        if children[-1] == 0:\n"
    "            try:\n"
    "                os.close(go)\n"
    "                create(state, number, start)\n"
    "            finally:\n"
    "                os._exit(2)\n"
    "    os.close(start); os.close(go)\n"
    "    assert [os.waitpid(child, 0)[1] for child in children] == [0] * len(children)\n"
    "    files = sorted(os.listdir(os.path.dirname(state)))\n"
    "    assert files == ['host.db', 'host.db-control', 'host.db-shm', 'host.db-wal'], files\n")

# Keys of the performance service's settings, which scripts can list, stand for all writes.
WRITE = (
    "import pyquelt, sys, threading\n"
    "def write(name):\n"
    "    for number in range(int(sys.argv[2])):\n"
    "        pyquelt.SetPerfsvcHostConfigStore('%s-%s-%d' % (sys.argv[1], name, number), 'x')\n"
    "threads = [threading.Thread(target=write, args=(name,)) for name in 'abcd']\n"
    "[thread.start() for thread in threads]; [thread.join() for thread in threads]\n")

# Forks while its threads write and read; prints what was acknowledged on either side.
FORK = (
    "import os, pyquelt, sys, threading\n"
    "done = False\n"
    "kept = []\n"
    "def put(key):\n"
    "    pyquelt.SetPerfsvcHostConfigStore(key, 'x')\n"
    "    kept.append(key)\n"
    "    assert pyquelt.GetHardwareSku() == 'QS-2240-AF'\n"
    "def work(name):\n"
    "    number = 0\n"
    "    while not done:\n"
    "        put('%s%d' % (name, number))\n"
    "        number += 1\n"
    "def child(key):\n"
    "    try:\n"
    "        threads = [threading.Thread(target=put, args=(key + end,)) for end in 'abc']\n"
    "        [thread.start() for thread in threads]; [thread.join() for thread in threads]\n"
    "        os._exit(0 if len(kept) >= 3 else 1)\n"
    "    finally:\n"
    "        os._exit(2)\n"
    "threads = [threading.Thread(target=work, args=(name,)) for name in 'wxyz']\n"
    "[thread.start() for thread in threads]\n"
    "for fork in range(int(sys.argv[1])):\n"
    "    pid = os.fork()\n"
    "    if pid == 0:\n"
    "        del kept[:]\n"
    "        child('c%d' % fork)\n"
    "    put('p%d' % fork)\n"
    "    assert os.waitpid(pid, 0)[1] == 0\n"
    "    kept += ['c%d%s' % (fork, end) for end in 'abc']\n"
    "done = True\n"
    "[thread.join() for thread in threads]\n"
    "print(' '.join(kept))\n")

# Writes until it is killed, and says what was acknowledged.
ACKNOWLEDGE = (
    "import os, pyquelt, sys\n"
    "for number in range(1000000):\n"
    "    key = '%s-%d' % (sys.argv[1], number)\n"
    "    pyquelt.SetPerfsvcHostConfigStore(key, 'x')\n"
    "    os.write(1, (key + '\\n').encode())\n")


class LoadTest(hosts.HostTestCase):

    def kept(self):
        """The keys that a fresh process finds."""
        return set(self.script(
            "import pyquelt; print(' '.join(pyquelt.GetPerfsvcHostConfigStore()))").split())

    def assert_intact(self):
        self.assertEqual(hosts.sqlite(hosts.STATE, "PRAGMA integrity_check"), [["ok"]])

    def test_creators_at_once_fail_or_make_several_states(self):
        folder = self.fresh_folder()
        self.script(CREATE, folder, str(CREATIONS), str(CREATORS))
        for turn in range(0, CREATIONS, 20):
            rows = hosts.sqlite(os.path.join(folder, str(turn), "deeper", "host.db"),
                                "SELECT key FROM service_setting WHERE value = 'x'")
            self.assertEqual(sorted(rows), [[str(number)] for number in range(CREATORS)])

    def test_write_of_many_processes_and_threads_is_lost(self):
        processes = [hosts.start_python(WRITE, str(number), str(WRITES)) for number in range(4)]
        for process in processes:
            self.assertEqual((process.communicate()[1], process.returncode), ("", 0))
        expected = {"%d-%s-%d" % (process, thread, number) for process in range(4)
                    for thread in "abcd" for number in range(WRITES)}
        self.assertEqual(expected - self.kept(), set())
        self.assert_intact()

    def test_fork_during_calls_loses_writes_or_hangs(self):
        acknowledged = self.script(FORK, str(FORKS)).split()
        self.assertGreater(len(acknowledged), 5 * FORKS)
        self.assertEqual(collections.Counter(acknowledged).most_common(1)[0][1], 1)
        self.assertEqual(set(acknowledged) - self.kept(), set())
        self.assert_intact()

    def test_kill_loses_acknowledged_writes(self):
        acknowledged = set()
        for number in range(KILLS):
            process = hosts.start_python(ACKNOWLEDGE, str(number))
            acknowledged.add(process.stdout.readline().strip())
            time.sleep(random.random() * 0.05)
            process.send_signal(signal.SIGKILL)
            acknowledged.update(process.communicate()[0].split())
        self.assertGreaterEqual(len(acknowledged), KILLS)
        self.assertEqual(acknowledged - self.kept(), set())
        self.assert_intact()


if __name__ == "__main__":
    unittest.main()
