"""The state under load: many processes and threads, forks, killed processes."""

import os
import random
import signal
import time

import deep
import hosts
import mixed_work

CREATIONS = deep.full(600, otherwise=30)
CREATORS = 4
PROCESSES = deep.full(8, otherwise=4)
THREADS = deep.full(16, otherwise=4)
STEPS = deep.full(100, otherwise=15)
FORKS = deep.full(1000, otherwise=20)
KILLS = deep.full(1000, otherwise=10)

# What a partial operation would leave inconsistent: the database and the host's space.
SOUND = ("SELECT (SELECT group_concat(integrity_check) FROM pragma_integrity_check),"
         " (SELECT count(*) FROM pragma_foreign_key_check),"
         " objects - (SELECT count(*) FROM object),"
         " allocated - (SELECT total(allocated) FROM object) FROM space")

# In each round several children concurrently create a state and use it; none leaves other files.
CREATE = """
import os, pyquelt, sys
def child(number):
    try:
        os.close(go)
        os.read(start, 1)
        pyquelt.SetPerfsvcHostConfigStore(str(number), 'x')
        config = pyquelt.GetPerfsvcHostConfigStore()
        os._exit(0 if config[str(number)] == 'x' and config['verbosity'] == 'normal' else 1)
    finally:
        os._exit(2)
for turn in range(int(sys.argv[2])):
    folder = os.path.join(sys.argv[1], str(turn), 'deeper')
    os.environ['QUELT_HOST_STATE'] = folder + '/host.db'
    start, go = os.pipe()
    children = [os.fork() or child(number) for number in range(int(sys.argv[3]))]
    os.close(start); os.close(go)
    assert [os.waitpid(child, 0)[1] for child in children] == [0] * len(children)
    files = sorted(os.listdir(folder))
    assert files == ['host.db', 'host.db-control', 'host.db-shm', 'host.db-wal'], files
"""

# Forks while its threads work; the children work too. Neither side may accumulate descriptors.
FORK = """
import mixed_work, os, pyquelt, sys, threading
def is_sound():
    return pyquelt.GetHardwareSku() == 'QS-1' and len(os.listdir('/proc/self/fd')) < 40
def child(turn):
    try:
        mixed_work.run(sys.argv[1], ['c%d%s' % (turn % 8, end) for end in 'abc'], 3)
        os._exit(0 if is_sound() else 1)
    finally:
        os._exit(2)
stop = threading.Event()
work = threading.Thread(target=mixed_work.run, args=(sys.argv[1], 'wxyz', None, stop))
work.start()
for turn in range(int(sys.argv[2])):
    pid = os.fork() or child(turn)
    assert is_sound()
    assert os.waitpid(pid, 0)[1] == 0
stop.set(); work.join()
"""

# Lists the open files immediately before a fork, after the host library's own handler: handlers run
# in the reverse order of their registration.
AT_FORK = """
import ctypes, os, sys
def open_state_files():
    paths = ['/proc/self/fd/' + name for name in os.listdir('/proc/self/fd')]
    return sorted({os.readlink(path) for path in paths if os.path.islink(path)
                   and os.readlink(path).startswith(sys.argv[1])})
at_fork = []
handler = ctypes.CFUNCTYPE(None)(lambda: at_fork.append(open_state_files()))
assert ctypes.CDLL(None).__register_atfork(handler, None, None, None) == 0
import pyquelt
pyquelt.SetIloAuth('a', 'b')
held = open_state_files()
pid = os.fork() or os._exit(0)
os.waitpid(pid, 0)
assert held and at_fork == [[]], (held, at_fork)
"""

RUN = "import mixed_work, sys; mixed_work.run(sys.argv[1], sys.argv[3:], int(sys.argv[2]) or None)"


class LoadTest(hosts.HostTestCase):

    def setUp(self):
        self.folder, self.acknowledged = self.fresh_folder(), 0
        self.assertEqual(self.load(dict(mixed_work.SCENARIO, hardwareSku="QS-1")), "")

    def start(self, names, steps=0):
        return hosts.start_python(RUN, self.folder, str(steps), *names)

    def check(self, names=None):
        """Checks that no recorded write of these actors (or of all) is lost and none is partial.
        The actors have ended. Their records restart with the current state."""
        dump = self.dump()
        there = mixed_work.owned(dump)
        for name in names or os.listdir(self.folder):
            path = os.path.join(self.folder, name)
            facts, pending = mixed_work.replay(path)
            with open(path, "a+") as log:  # an actor that was killed early has none
                log.seek(0)
                self.acknowledged += sum(line[0] == "!" for line in log)
            mine = {fact for fact in there if fact.split("/")[1][:-2] == name}
            for fact in mine.union(facts, pending[:1] if pending else ()):
                found, expected = there.get(fact, ""), [facts.get(fact, "")]
                if pending and pending[0] == fact:
                    expected.append(found if pending[1] == "*" else pending[1])
                self.assertIn(found, expected, fact)
            with open(path, "w") as log:
                log.writelines("= {} {}\n".format(fact, there[fact]) for fact in mine)
        ilo = dump.get("ilo", {})
        self.assertEqual(ilo.get("first"), ilo.get("second"))
        disks = {(disk.get("encrypted", False), disk.get("kekId", ""),
                  "key/" + disk["uuid"] in there) for disk in dump["disks"]}
        self.assertIn([disk[::2] for disk in disks], ([(True, True)], [(False, False)]))
        self.assertEqual(hosts.sqlite(hosts.STATE, SOUND), [["ok", 0, 0, 0]])

    def test_concurrent_creators_share_one_state(self):
        folder = self.fresh_folder()
        self.script(CREATE, folder, str(CREATIONS), str(CREATORS))
        for turn in range(0, CREATIONS, 20):
            rows = hosts.sqlite("%s/%d/deeper/host.db" % (folder, turn),
                                "SELECT key FROM service_setting WHERE value = 'x'")
            self.assertEqual(sorted(rows), [[str(number)] for number in range(CREATORS)])

    def test_writes_of_many_processes_and_threads_all_succeed(self):
        begin, rounds = time.time(), 0
        while rounds == 0 or deep.DEEP and time.time() - begin < 600:
            processes = [self.start(["p%d.%d" % (number, thread) for thread in range(THREADS)],
                                    STEPS) for number in range(PROCESSES)]
            for process in processes:
                self.assertEqual((process.communicate()[1], process.returncode), ("", 0))
            self.check()
            rounds += 1
        deep.figure("{} processes of {} threads: {} acknowledged writes in {:.0f} s, none lost, "
                    "none failed", PROCESSES, THREADS, self.acknowledged, time.time() - begin)

    def test_no_file_of_the_state_is_open_at_a_fork(self):
        self.script(AT_FORK, hosts.STATE)

    def test_fork_during_calls_loses_no_write(self):
        self.script(FORK, self.folder, str(FORKS))
        self.check()
        deep.figure("{} forks during calls: {} acknowledged writes, none lost", FORKS,
                    self.acknowledged)

    def test_acknowledged_writes_survive_kill_and_none_is_partial(self):
        """Sometimes all are killed together; then the next process has the state to itself."""
        names = [["k%d.%d" % (number, thread) for thread in range(2)] for number in range(4)]
        running = [self.start(actors) for actors in names]
        kills = 0
        while kills < KILLS:
            victims = range(4) if random.random() < .1 else [random.randrange(4)]
            for victim in victims:  # wait until it works: its log grows
                begin = self.log_size(names[victim])
                while self.log_size(names[victim]) == begin and running[victim].poll() is None:
                    time.sleep(0.001)
            time.sleep(random.random() * 0.05)
            for victim in victims:
                running[victim].send_signal(signal.SIGKILL)
            for victim in victims:
                self.assertEqual(running[victim].communicate()[1], "")
            self.check([name for victim in victims for name in names[victim]])
            for victim in victims:
                running[victim] = self.start(names[victim])
            kills += len(victims)
        for process in running:
            process.kill()
            process.communicate()
        self.check()
        deep.figure("{} times kill -9 among 4 writing processes: {} acknowledged writes, none "
                    "lost, none partial", kills, self.acknowledged)

    def log_size(self, names):
        paths = [os.path.join(self.folder, name) for name in names]
        return sum(os.stat(path).st_size for path in paths if os.path.exists(path))
