"""A rehearsal finds a step that a generated script doesn't undo, and reports no correct script."""

import json
import random
import sys
import unittest

import deep
import hosts  # noqa: F401 (sets the path of the state)
import quelt_testing

SCRIPTS = deep.full(100, 3)

SCENARIO = {
    "kekId": "k0", "hostKeyId": "h0", "ilo": {"first": "v0", "second": "v0"},
    "perfsvc": {"a": "v0", "b": "v0"}, "timeMachine": {},
    "keys": [{"id": "k%d" % i, "attribute": "KEK", "key": "%02x" % i * 32} for i in range(3)],
    "disks": [{"name": name, "uuid": "00000000-0000-4000-8000-00000000000" + name[1],
               "encrypted": True, "kekId": "k0", "dek": name[1] * 127 + "0"}
              for name in ("d1", "d2")]}

# Makes the changes that its argument lists, and undoes all of them if one fails, except the one
# with the number `planted`.
SCRIPT = """
import json, sys
import pyquelt

changes, planted = json.loads(sys.argv[1])

def move(disk, kek):
    pyquelt.SetKekId(kek)
    pyquelt.ShallowRekey([disk])

def prepare(kind, name, value):
    "Returns functions that make the change and undo it."
    if kind == "perfsvc":
        write = lambda value: pyquelt.SetPerfsvcHostConfigStore(name, value)
        old = pyquelt.GetPerfsvcHostConfigStore()[name]
    elif kind == "ilo":
        write = lambda value: pyquelt.SetIloAuth(name, value)
        first, second = pyquelt.GetIloAuth()
        return lambda: write(value), lambda: pyquelt.SetIloAuth(first, second)
    elif kind == "hostKey":
        write, old = pyquelt.SetHostKeyId, pyquelt.GetHostKeyId()
    elif kind == "key":
        write = lambda value: pyquelt.CacheKey(name, "KEK", value)
        old = pyquelt.GetKeyFromKeyCache(name)
        value = value.encode() * 16
    else:
        kek, old = pyquelt.GetKekId(), pyquelt.GetEncInfoForDisk(name)["kekId"]
        def undo():
            move(name, old)
            pyquelt.SetKekId(kek)
        return lambda: move(name, value), undo
    return lambda: write(value), lambda: write(old)

done = []
try:
    for number, change in enumerate(changes):
        make, undo = prepare(*change)
        if number != planted:
            done.append(undo)
        make()
except Exception as error:
    for undo in reversed(done):
        undo()
    sys.exit(str(error))
"""

KINDS = [("perfsvc", "a"), ("perfsvc", "b"), ("ilo", "user"), ("hostKey", ""), ("key", "k2"),
         ("disk", "d1"), ("disk", "d2")]


def generate(seed):
    """Returns the changes of a script, each of another kind, and the number of one but the last."""
    source = random.Random(seed)
    kinds = source.sample(KINDS, source.randint(2, 4))
    changes = [(kind, name, "k1" if kind == "disk" else "v%d" % source.randint(1, 9))
               for kind, name in kinds]
    return changes, source.randrange(len(changes) - 1)


class GeneratedScriptTest(unittest.TestCase):

    def findings(self, changes, planted, modes):
        command = [sys.executable, "-c", SCRIPT, json.dumps([changes, planted])]
        runs = quelt_testing.rehearse(command, SCENARIO, modes=modes)
        return [run for run in runs if run.is_finding]

    def test_correct_script_is_never_reported_and_a_planted_mistake_is_always_found(self):
        for seed in range(SCRIPTS):
            changes, planted = generate(seed)
            with self.subTest(seed, changes=changes, planted=planted):
                for run in self.findings(changes, None, ()):
                    run.check()
                verdicts = {run.verdict for run in self.findings(changes, planted, ("throw",))}
                self.assertEqual(verdicts, {"half done"})
        deep.figure("rehearse reports none of {0} correct scripts, and each of {0} scripts with a "
                    "change that is not undone", SCRIPTS)
