"""Keys and passwords that passed through the module: once the arguments and results are freed, no
copy is left in the process, on success and on failure.

The test itself stores a secret only with every bit inverted.
"""

import random
import threading
import unittest

import memory_search
import scripted
from fault_build import faults, module
from memory_search import INVERT, occurrences, wipe

_LETTERS = bytearray(b"abcdefghijklmnopqrstuvwxyz0123456789")


def inverted(size, is_text):
    """A new secret, inverted."""
    return bytes(bytearray(255 - (random.choice(_LETTERS) if is_text else random.randrange(256))
                           for _ in range(size)))


def found(hidden):
    """How many pieces of the secret are in the memory of the process."""
    return sum(occurrences(*{hidden[i:i + 16] for i in range(0, min(len(hidden), 64), 16)}))


# Function, size of the secret, whether it is a text, arguments (SECRET stands for it), operation of
# the host, its outputs with the secret.
SECRET = object()
_PASSWORD = "GetKmsPasswordFromConfigStore"
CASES = (
    ("CacheKey", 64, False, ("id", "", SECRET), "AddKeyToKeyCache", ()),
    ("CacheKey", 40, True, ("id", "", SECRET), "AddKeyToKeyCache", ()),
    ("GetKeyFromKeyCache", 4096, False, ("id",), "RetrieveKeyFromKeyCache", ("buffer",)),
    ("GetDekFromDisk", 64, False, ("d",), "GetUnwrappedDekForDisk", ("dek",)),
    ("GetWrappedDekFromDisk", 512, False, ("d",), "GetEncMetadataForDisk", ("metadata",)),
    ("GetWrappedDekFromDisk", 512, False, ("d",), "GetEncMetadataForDisk", ("aws", "metadata")),
    ("Decrypt2kBlock", 64, False, (SECRET, 0, bytes(2048)), "Decrypt2kBlock", ()),
    ("Decrypt2kBlock", 2048, False, (bytes(64), 0, bytes(2048)), "Decrypt2kBlock", ("output",)),
    ("SetIloAuth", 40, True, ("user", SECRET), "SetIloAuth", ()),
    ("SetIloAuth", 40, True, (SECRET, "word"), "SetIloAuth", ()),
    # A std::string stores texts of 15 characters in the object itself.
    ("SetIloAuth", 15, True, (SECRET, "word"), "SetIloAuth", ()),
    ("GetIloAuth", 40, True, (), "GetIloAuth", ("first", "second")),
    ("GetIloAuth", 15, True, (), "GetIloAuth", ("first", "second")),
    (_PASSWORD, 40, True, ("a", "b"), _PASSWORD, ("password",)),
    (_PASSWORD, 15, True, ("a", "b"), _PASSWORD, ("password",)),
)


@unittest.skipUnless(memory_search.POSSIBLE, "cannot read its own memory")
class SecretTest(scripted.ScriptedTestCase):

    called_with_gil = None

    def setUp(self):
        scripted.ScriptedTestCase.setUp(self)
        scripted.set_secret_mode(True)
        self.addCleanup(scripted.set_secret_mode, False)

    def call(self, case, hidden, ends):
        """One call with the secret; afterwards its objects are wiped."""
        name, _, is_text, args, operation, outputs = case
        out = dict({output: hidden for output in outputs}, length=len(hidden))
        answer = scripted.out(**out) if outputs else {}
        if ends == "rejected":
            answer = scripted.returns(False, **dict(out, length=5000))
        if ends == "failed":  # after any outputs are written
            answer.update(scripted.throws("no"))
        scripted.answer(operation, answer)
        secret = hidden.translate(INVERT)
        if is_text:
            text = secret.decode("ascii")
            wipe(secret)
            secret = text
        given = tuple(secret if item is SECRET else item for item in args)
        function, result = getattr(module, name), None
        if ends == "unwound":
            self.assertEqual(faults.fault_injection_unwind(function, given, {}), 1)
        else:
            try:
                result = function(*given)
            except ValueError:
                pass
        wipe(secret)
        wipe(result)
        return result

    def test_no_copy_of_a_secret_is_left_in_memory(self):
        for case in CASES:
            for ends in ("success", "rejected", "failed", "unwound"):
                self.call(case, inverted(case[1], case[2]), ends)  # binds all symbols
                hidden = inverted(case[1], case[2])
                with self.subTest(case[0], outputs=case[5], ends=ends):
                    # In a thread of its own: no later call overwrites its stack.
                    thread = threading.Thread(target=self.call, args=(case, hidden, ends))
                    thread.start()
                    thread.join()
                    self.assertEqual(found(hidden), 0)

    def test_search_finds_a_secret_that_exists(self):
        hidden = inverted(64, False)
        secret = hidden.translate(INVERT)
        self.assertGreaterEqual(found(hidden), 4)
        self.assertEqual(len(secret), 64)


if __name__ == "__main__":
    unittest.main()
