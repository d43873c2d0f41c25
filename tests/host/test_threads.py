"""Threads call all functions with arguments that other threads change meanwhile. Each outcome
consists of facts that serial calls with one of the arguments' states produce: a mixture of two
states would be a new fact."""

import ctypes
import inspect
import itertools
import random
import sys
import threading
import time
import unittest

import deep
import hosts
import pyquelt

CALLERS, CHANGERS = 8, 2
SECONDS = deep.full(600, otherwise=4)
SERIAL_ROUNDS = 25
# PyObject_Call passes the dictionary of keyword arguments itself, not a copy.
_pyobject_call = ctypes.PYFUNCTYPE(*[ctypes.py_object] * 4)(("PyObject_Call", ctypes.pythonapi))

_DISK, _OBJECT = "naa.58ce38ee20a1c00{}", "0d4c8f62-91be-4a57-b0e6-3f5a7c21d80{}"
_AGENT = {"addr": "192.0.2.{}", "uuid": u"agent \u00e9 {}", "type": "node"}
_DETAILS = dict(_AGENT, hostname=u"host \u00e9 {}", thumbprint="{}", interface="zelnic{}")
# The arguments of each function that has some: a tuple, keywords, or a list that is the only
# argument. "{}" stands for the number of the state.
ARGUMENTS = {
    "AddKmsTrustedCert": (u"certificate \u00e9 {}",), "CheckCloudKmsStatus": (u"kms \u00e9 {}",),
    "CacheKey": (u"key \u00e9 {}", "", u"\u00e9 {}"), "RemoveKey": (u"key \u00e9 {}",),
    "CheckKmsStatus": (u"cluster \u00e9 {}", u"\u00e9 {}", 1), "GetDekFromDisk": (_DISK,),
    "GetEncInfoForDisk": (_DISK,), "GetKeyFromKeyCache": (u"key \u00e9 {}",),
    "GetKmsPasswordFromConfigStore": (u"kek \u00e9 {}", u"cluster \u00e9 {}"),
    "GetWrappedDekFromDisk": (_DISK,), "SetEncryptionEnabled": (1,),
    "SetClusterTimeMachineConfigStore": (u"name \u00e9 {}", u"value \u00e9 {}"),
    "SetHostKeyId": (u"key \u00e9 {}",), "SetKekId": ("kek-{}",),
    "SetIloAuth": (u"user \u00e9 {}", u"password \u00e9 {}"),
    "SetPerfsvcHostConfigStore": (u"name \u00e9 {}", u"value \u00e9 {}"),
    "UpgradeFormatVersionForDiskGroup": ("group-{}",),
    "AddUnicastAgent": _DETAILS, "SetUnicastInfoInConfigStore": _DETAILS,
    "RemoveUnicastAgent": _AGENT, "GetUnicastAgents": {"includeExtra": u"\u00e9"},
    "CreateObject": {"ufn": u"object \u00e9 {}", "policy": u"policy \u00e9 {}"},
    "DeleteObject": {"uuid": u"no uuid \u00e9 {}", "force": 1},
    "GetObjectExtAttrs": [_OBJECT] * 40 + [u"no uuid \u00e9 {}"],
    "ShallowRekey": [_DISK] * 40 + [u"no disk \u00e9 {}"],
}
# The functions whose arguments change, by one byte for this one.
CHANGING = sorted(ARGUMENTS) + ["Decrypt2kBlock"]
STATES = (1, 2)
FUNCTIONS = sorted(name for name, value in vars(pyquelt).items() if inspect.isbuiltin(value))


def filled(value, state):
    """The arguments in one state, of new objects."""
    if isinstance(value, dict):
        return {name: filled(item, state) for name, item in value.items()}
    if isinstance(value, (list, tuple)):
        return [filled(item, state) for item in value]
    return value.format(state) if isinstance(value, str) else value


def facts(value):
    """What an outcome states: the items of containers one by one."""
    if isinstance(value, dict):
        return {(key, fact) for key, item in value.items() for fact in facts(item)} or {"{}"}
    if isinstance(value, list):
        return {fact for item in value for fact in facts(item)} or {"[]"}
    return {repr(value)}


class SharedArguments(object):
    """The containers of the arguments, which all threads share, and the calls with them."""

    def __init__(self):
        self.given = dict.fromkeys(FUNCTIONS)
        self.given.update({name: filled(value, 1) for name, value in ARGUMENTS.items()})
        self.given["Decrypt2kBlock"] = (bytearray(64), 7, bytearray(2048))

    def change(self, name, state):
        given = self.given[name]
        if isinstance(given, tuple):
            given[random.choice((0, 2))][0] = state
            return
        value = filled(ARGUMENTS[name], state)
        if isinstance(given, dict):
            given.clear()
            given.update(value)
        elif isinstance(ARGUMENTS[name], tuple):
            given[:] = value
        else:
            del given[:]
            given.extend(value[:random.choice((-1, None))])

    def call(self, name):
        """The facts of the outcome, together with the arguments of a call with texts only."""
        given, args, kwargs, read = self.given[name], (), {}, None
        if isinstance(given, dict):
            kwargs = given
        elif isinstance(given, tuple):
            args = given
        elif isinstance(ARGUMENTS.get(name), tuple):
            args = read = tuple(given)
        elif given is not None:
            args = (given,)
        outcome = hosts.outcome(_pyobject_call, getattr(pyquelt, name), args, kwargs)
        if name == "CreateObject" and isinstance(outcome, str):
            friendly = pyquelt.GetObjectExtAttrs([outcome])[outcome]["ufn"]
            outcome = friendly, pyquelt.DeleteObject(outcome)
        elif name == "GetWrappedDekFromDisk":  # a random nonce is part of it
            outcome = len(outcome)
        elif name == "GetHostInfo":  # other threads create objects
            outcome = sorted(outcome)
        return {(name, read, fact) for fact in facts(outcome)}


class ThreadsTest(hosts.HostTestCase):

    def setUp(self):
        hosts.HostTestCase.setUp(self)
        host = self.dump()
        host["keys"] += [{"id": "kek-%d" % state, "attribute": "KEK", "key": "%064x" % state}
                         for state in STATES]
        self.assertEqual(self.load(host), "")
        pyquelt.SetKekId("kek-1")
        pyquelt.SetEncryptionEnabled(1)
        self.addCleanup(sys.setswitchinterval, sys.getswitchinterval())
        sys.setswitchinterval(1e-5)
        self.shared, self.known, self.failures = SharedArguments(), set(), []
        self.steps = {self.call_one: [], self.change_one: []}

    def call_serially(self):
        """Fills `known` with the facts of all states."""
        # Two threads create an object of the same name.
        self.known.add(("CreateObject", None, repr((RuntimeError, "Already exists"))))
        for key, text in itertools.product(STATES, STATES):
            dek, _, block = self.shared.given["Decrypt2kBlock"]
            dek[0], block[0] = key, text
            self.known |= self.shared.call("Decrypt2kBlock")
        for _ in range(SERIAL_ROUNDS):
            for name in random.sample(FUNCTIONS, len(FUNCTIONS)):
                for state in random.sample(STATES, len(STATES)):
                    if name in CHANGING:
                        self.shared.change(name, state)
                    self.known |= self.shared.call(name)
                if isinstance(ARGUMENTS.get(name), (dict, list)):
                    given, empty = self.shared.given[name], type(ARGUMENTS[name])()
                    self.shared.given[name] = empty
                    self.known |= self.shared.call(name)
                    self.shared.given[name] = given

    def run_until(self, end, step):
        steps = 0
        try:
            while time.time() < end and not self.failures:
                step()
                steps += 1
        except BaseException as error:
            self.failures.append(repr(error))
        self.steps[step].append(steps)

    def call_one(self):
        new = self.shared.call(random.choice(FUNCTIONS)) - self.known
        if new:
            self.failures.append(new)

    def change_one(self):
        self.shared.change(random.choice(CHANGING), random.choice(STATES))

    def test_outcome_of_each_function_matches_a_state_of_its_changing_arguments(self):
        self.call_serially()
        end = time.time() + SECONDS
        threads = [threading.Thread(target=self.run_until, args=(end, step))
                   for step in [self.call_one] * CALLERS + [self.change_one] * CHANGERS]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(self.failures, [])
        deep.figure("{} calls of {} functions by {} threads, {} changes of their arguments by "
                    "others: each outcome matches one state", sum(self.steps[self.call_one]),
                    len(FUNCTIONS), CALLERS, sum(self.steps[self.change_one]))


if __name__ == "__main__":
    unittest.main()
