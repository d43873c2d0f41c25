"""Mixed work on a host by many threads and processes, with a model of the expected state.

Each actor owns some settings, keys, agents and objects, and shares the disks and the credential
with all others. It writes each change to its own log, before the call and after it: the checking
process, or a later actor of that name, reads from it what the host must contain.
"""

import os
import random
import threading

import pyquelt

SLOTS = 3
KEKS = ("kek-0", "kek-1")
DISKS = ["disk-%d" % number for number in range(4)]
SCENARIO = {
    "kekId": "kek-0", "capacity": {"physical": 1 << 50},
    "keys": [{"id": kek, "attribute": "KEK", "key": 32 * ("%02x" % number)}
             for number, kek in enumerate(KEKS)],
    "disks": [{"name": disk, "uuid": "00000000-0000-4000-8000-%012d" % number}
              for number, disk in enumerate(DISKS)]}


class Actor(object):
    """Performs one step after the other; `done` counts them."""

    def __init__(self, folder, name):
        path = os.path.join(folder, name)
        self.name, self.done, (self.facts, _) = name, 0, replay(path)
        self.log = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o600)
        self.random = random.Random("%s %d" % (name, os.getpid()))

    def work(self, steps=None, stop=None):
        """Performs steps until `steps` are done or the event `stop` is set."""
        while self.done != steps and not (stop and stop.is_set()):
            self.random.choice((self.change, self.change, self.change, self.share, self.read))()
            self.done += 1
        os.close(self.log)

    def note(self, mark, fact, value):
        os.write(self.log, "{} {} {}\n".format(mark, fact, value or "-").encode())

    def change(self):
        kind = self.random.choice(("setting", "key", "agent", "object"))
        fact = "%s/%s-%d" % (kind, self.name, self.random.randrange(SLOTS))
        change = getattr(self, kind)(fact.split("/")[1], self.facts.get(fact))
        self.note("?", fact, next(change))
        self.facts[fact] = next(change)
        self.note("!", fact, self.facts[fact])

    # Each yields the new value of the fact ("*" if the host chooses it), then makes the change and
    # yields the actual value.

    def setting(self, name, _):
        value = str(self.random.getrandbits(32))
        yield value
        pyquelt.SetPerfsvcHostConfigStore(name, value)
        yield value

    def key(self, name, value):
        value = "" if value and self.random.random() < .5 else "%08x" % self.random.getrandbits(32)
        yield value
        pyquelt.CacheKey(name, "test", bytes(bytearray.fromhex(value))) if value else (
            pyquelt.RemoveKey(name))
        yield value

    def agent(self, name, value):
        port = "" if value else str(self.random.randrange(1, 65536))
        yield port
        if port:
            pyquelt.AddUnicastAgent("192.0.2.1", name, "node", port=int(port))
        else:
            pyquelt.RemoveUnicastAgent("192.0.2.1", name, int(value))
        yield port

    def object(self, name, value):
        yield "" if value else "*"
        if value:
            pyquelt.DeleteObject(value, force=True)
        yield "" if value else pyquelt.CreateObject(ufn=name, size=self.random.randrange(1 << 30),
                                                    allocType=self.random.randrange(1, 5))

    def share(self):
        """A change of shared state; a partial one would be detected."""
        try:
            self.random.choice((
                lambda: pyquelt.SetIloAuth(self.name, self.name),
                lambda: pyquelt.SetKekId(self.random.choice(KEKS)),
                lambda: pyquelt.ShallowRekey(DISKS),
                lambda: pyquelt.SetEncryptionEnabled(self.random.random() < .7)))()
        except ValueError as error:
            if str(error) != 'Disk "disk-0" is not encrypted':
                raise

    def read(self):
        """Acknowledged changes exist."""
        for fact, value in sorted(self.facts.items()):
            if fact.startswith("key/") and value:
                found = pyquelt.GetKeyFromKeyCache(fact[4:])
                assert found == bytes(bytearray.fromhex(value)), (fact, value, found)
            if fact.startswith("object/") and value:
                assert value in pyquelt.GetObjectExtAttrs([value]), (fact, value)
        mine = ["setting/" + name for name in pyquelt.GetPerfsvcHostConfigStore()]
        missing = [fact for fact, value in self.facts.items()
                   if fact.startswith("setting/") and value and fact not in mine]
        assert not missing, missing


def run(folder, names, steps=None, stop=None):
    """Runs these actors, each in a thread of its own, until they have done their steps."""
    failures = []

    def work(name):
        try:
            Actor(folder, name).work(steps, stop)
        except BaseException as error:
            failures.append((name, type(error), str(error)))

    threads = [threading.Thread(target=work, args=(name,)) for name in names]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures, failures


def replay(path):
    """The facts that a log acknowledges ("!", or "=" for those that were checked before), and the
    unacknowledged change ("?"), if any."""
    facts, pending = {}, None
    if os.path.exists(path):
        with open(path) as log:
            for line in log:
                mark, fact, value = line.split()
                pending = (fact, value.replace("-", "")) if mark == "?" else None
                if mark != "?":
                    facts[fact] = "" if value == "-" else value
    return facts, pending


def owned(dump):
    """All facts in a dump of the host, by fact."""
    facts = {"setting/" + name: value for name, value in dump.get("perfsvc", {}).items()}
    for kind, name, value, section in (("key", "id", "key", "keys"),
                                       ("agent", "uuid", "port", "agents"),
                                       ("object", "friendlyName", "uuid", "objects")):
        for each in dump.get(section, ()):
            facts["%s/%s" % (kind, each.get(name))] = str(each.get(value, 12321))
    return facts
