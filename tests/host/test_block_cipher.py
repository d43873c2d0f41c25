"""Decryption on the embedded host: known answers, threads, forks, keys that remain in memory."""

import hashlib
import os
import random
import subprocess
import unittest
from concurrent import futures

import hosts
import memory_search
import pyquelt
from memory_search import INVERT, occurrences, wipe


def stream(seed, size):
    """Bytes that are the same in every run."""
    return hashlib.sha512(repr(seed).encode()).digest() * (size // 64)


def xor(left, right):
    return bytes(one ^ other for one, other in zip(left, right))


def encrypt(key, number, plain):
    """XTS as IEEE 1619 defines it, with AES blocks from the openssl command."""
    def aes(key, blocks):
        return subprocess.run(["openssl", "enc", "-aes-256-ecb", "-nopad", "-K", key.hex()],
                              input=blocks, stdout=subprocess.PIPE, check=True).stdout

    tweak, tweaks = int.from_bytes(aes(key[32:], number.to_bytes(16, "little")), "little"), b""
    for _ in range(len(plain) // 16):
        tweaks += tweak.to_bytes(16, "little")
        tweak = tweak << 1 ^ ((1 << 128 | 0x87) if tweak >> 127 else 0)
    return xor(aes(key[:32], xor(plain, tweaks)), tweaks)


class BlockCipherTest(hosts.HostTestCase):

    def test_published_vectors_decrypt_to_their_plaintext(self):
        key = bytearray.fromhex(
            "2718281828459045235360287471352662497757247093699959574966967627"
            "3141592653589793238462643383279502884197169399375105820974944592")
        plain = bytes(bytearray(range(256))) * 2
        path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "data", "xts_aes_256.txt")
        with open(path) as lines:
            vectors = [line.split() for line in lines if not line.startswith("#")]
        self.assertEqual(len(vectors), 5)
        for number, cipher in vectors:
            block = bytearray.fromhex(cipher).ljust(2048, b"\0")
            self.assertEqual(pyquelt.Decrypt2kBlock(key, int(number, 16), block)[:512], plain)

    def test_block_encrypted_by_another_implementation_decrypts_to_its_plaintext(self):
        for position in (0, 1, 2 ** 32, 2 ** 63, 2 ** 64 - 1):
            plain = stream(("plain", position), 2048)
            # Equal halves are rejected for encryption, but must decrypt existing data.
            for dek in stream(("dek", position), 64), stream("half", 64)[:32] * 2:
                block = encrypt(dek, position, plain)
                self.assertEqual(pyquelt.Decrypt2kBlock(dek, position, block), plain)
                self.assertNotEqual(pyquelt.Decrypt2kBlock(dek, position ^ 1, block)[:16],
                                    plain[:16])

    def test_threads_and_forked_children_decrypt_with_their_own_keys(self):
        def decrypt(dek, position, block, plain, times):
            return all(pyquelt.Decrypt2kBlock(dek, position, block) == plain for _ in range(times))

        cases = [(stream(("dek", i), 64), i, stream(("plain", i), 2048)) for i in range(4)]
        cases = [(dek, i, encrypt(dek, i, plain), plain) for dek, i, plain in cases]
        with futures.ThreadPoolExecutor(4) as pool:
            threads = [pool.submit(decrypt, *case + (3000,)) for case in cases]
            for case in cases:
                if os.fork() == 0:
                    os._exit(77 if hosts.outcome(decrypt, *case + (20,)) is True else 1)
                self.assertEqual(os.wait()[1], 77 << 8)
            self.assertEqual([thread.result() for thread in threads], [True] * 4)

    def test_fork_during_the_first_block_does_not_block_the_child(self):
        """The first use of OpenSSL takes milliseconds; the process forks during it."""
        for turn in range(12):
            self.script("""
import os, signal, sys, threading, time, pyquelt
pyquelt.GetKekId()
call = lambda: pyquelt.Decrypt2kBlock(bytes(64), 0, bytes(2048))
thread = threading.Thread(target=call)
thread.start()
time.sleep(int(sys.argv[1]) * 0.0004)
if os.fork() == 0:
    signal.alarm(60)
    os._exit(len(call()) - 2048)
thread.join()
assert os.wait()[1] == 0
""", str(turn))


KEY_ID = "the id of the key, long enough for a row to be recognised by its end"


def in_memory(inverted):
    """Counts the occurrences of the bytes in this process's memory, without those in SQLite's
    rows: SQLite frees their buffers without wiping them. In a row the key follows its id, whose
    beginning may be overwritten. If SQLite built an index record in a freed row's buffer, the key
    follows the id and the row's number."""
    end = KEY_ID[-8:].encode()
    ends = [end] + [end + bytes([number]) for number in range(1, 10)]
    found, *rows = occurrences(inverted, *(end.translate(INVERT) + inverted for end in ends))
    return found - sum(rows)


def cache_and_remove(secret):
    for _ in range(3):
        pyquelt.CacheKey(KEY_ID, "", secret)
        pyquelt.RemoveKey(KEY_ID)


def fail_to_cache(secret):
    for _ in range(3):
        assert hosts.outcome(pyquelt.CacheKey, KEY_ID, "", secret) is not None


@unittest.skipUnless(memory_search.POSSIBLE, "cannot read its own memory")
class WipingTest(hosts.HostTestCase):

    def test_no_key_remains_in_memory(self):
        for call, size, begin, faulty in (
                # Search for the second half: its key schedule begins with the key itself; the
                # schedule that decrypts with the first half does not.
                (lambda secret: pyquelt.Decrypt2kBlock(secret, 0, bytes(2048)), 64, 32, ()),
                (cache_and_remove, 32, 0, ()), (cache_and_remove, 3000, 0, ()),
                (fail_to_cache, 32, 0, ("AddKeyToKeyCache", "--throw", "no")),
                (fail_to_cache, 5000, 0, ())):
            if faulty:
                self.tool("fail", *faulty)
            inverted = bytearray(random.randrange(256) for _ in range(size))
            secret = bytes(inverted).translate(INVERT)
            part = bytes(inverted[begin:begin + 32])
            call(secret)
            wipe(secret)
            self.assertEqual(in_memory(part), 0, (call, size))
            self.tool("heal")
        # Check the search itself last: the bytes that it reads remain in memory.
        found = part.translate(INVERT)
        self.assertGreaterEqual(in_memory(part), 1, found[:0])
