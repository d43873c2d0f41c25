"""Keys and passwords that passed through the module: once the arguments and results are gone, no
copy is left in the process, whatever way the call ended.

A secret exists in its objects only, and elsewhere with every bit turned round.
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
    """A new secret, turned round."""
    return bytes(bytearray(255 - (random.choice(_LETTERS) if is_text else random.randrange(256))
                           for _ in range(size)))


def found(turned):
    """How many pieces of the secret the process's memory holds."""
    return sum(occurrences(*{turned[i:i + 16] for i in range(0, min(len(turned), 64), 16)}))


# Function, size and kind of the secret, arguments (SECRET is its place), the answer's operation
# and outputs with it. What comes in and what goes out are searched for in turn.
SECRET = object()
_PASSWORD = "GetKmsPasswordFromConfigStore"
CASES = (
    ("CacheKey", 64, False, ("id", "", SECRET), "AddKeyToKeyCache", ()),
    ("CacheKey", 40, True, ("id", "", SECRET), "AddKeyToKeyCache", ()),
    ("GetKeyFromKeyCache", 4096, False, ("id",), "RetrieveKeyFromKeyCache", ("key",)),
    ("GetDekFromDisk", 64, False, ("d",), "GetUnwrappedDekForDisk", ("dek",)),
    ("GetWrappedDekFromDisk", 512, False, ("d",), "GetEncMetadataForDisk", ("metadata",)),
    ("GetWrappedDekFromDisk", 512, False, ("d",), "GetEncMetadataForDisk", ("aws", "metadata")),
    ("Decrypt2kBlock", 64, False, (SECRET, 0, bytes(2048)), "Decrypt2kBlock", ()),
    ("Decrypt2kBlock", 2048, False, (bytes(64), 0, bytes(2048)), "Decrypt2kBlock", ("output",)),
    ("SetIloAuth", 40, True, ("user", SECRET), "SetIloAuth", ()),
    ("SetIloAuth", 40, True, (SECRET, "word"), "SetIloAuth", ()),
    # Texts of 15 letters lie in the std::string itself.
    ("SetIloAuth", 15, True, (SECRET, "word"), "SetIloAuth", ()),
    ("GetIloAuth", 40, True, (), "GetIloAuth", ("first", "second")),
    ("GetIloAuth", 15, True, (), "GetIloAuth", ("first", "second")),
    (_PASSWORD, 40, True, ("a", "b"), _PASSWORD, ("password",)),
    (_PASSWORD, 15, True, ("a", "b"), _PASSWORD, ("password",)),
)


@unittest.skipUnless(memory_search.POSSIBLE, "cannot read its own memory")
class SecretTest(scripted.ScriptedTestCase):

    made_with_lock = None

    def setUp(self):
        scripted.ScriptedTestCase.setUp(self)
        scripted.keep_secrets(True)
        self.addCleanup(scripted.keep_secrets, False)

    def call(self, case, turned, ends):
        """One call with the secret; afterwards its objects are wiped."""
        name, _, is_text, args, operation, outputs = case
        out = dict({output: turned for output in outputs}, length=len(turned))
        answer = scripted.out(**out) if outputs else {}
        if ends == "refused":
            answer = scripted.returns(False, **dict(out, length=5000))
        if ends == "failed":  # where something is handed out, after that
            answer.update(scripted.throws("no"))
        scripted.answer(operation, answer)
        secret = turned.translate(INVERT)
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

    def test_secret_stays_in_memory(self):
        for case in CASES:
            for ends in ("well", "refused", "failed", "unwound"):
                self.call(case, inverted(case[1], case[2]), ends)  # all symbols bound
                turned = inverted(case[1], case[2])
                with self.subTest(case[0], outputs=case[5], ends=ends):
                    # On a stack of its own, where nothing comes after the call.
                    thread = threading.Thread(target=self.call, args=(case, turned, ends))
                    thread.start()
                    thread.join()
                    self.assertEqual(found(turned), 0)

    def test_search_finds_nothing_at_all(self):
        turned = inverted(64, False)
        secret = turned.translate(INVERT)
        self.assertGreaterEqual(found(turned), 4)
        self.assertEqual(len(secret), 64)


if __name__ == "__main__":
    unittest.main()
