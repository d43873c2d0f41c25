#!/usr/bin/env python3
"""Replaces the key-encryption key (KEK) of encrypted disks. Rolls back if a step fails.

    rotate_kek.py [--kms CLUSTER] [--remove-old] OLD_KEK_ID NEW_KEK_ID KEY_FILE DISK...

KEY_FILE contains the new KEK as 64 hexadecimal digits. Steps: check all conditions, add the new KEK
to the key cache, set its id as the host's KEK id, rekey the disks, verify each disk.

The old KEK stays in the key cache, because no function lists all disks of a host: a disk that was
not named may still use it. --remove-old removes it at the end, unless a disk still uses it. The
script checks only the named disks and those that GetT1DiskInfo lists: IF ANY OTHER DISK USES THE
OLD KEK, ITS DEK IS THEN LOST.

If a step fails, the script undoes the steps before it. This includes a step's message: if standard
output is closed, the script also rolls back. An interruption at any point loses no key. To finish
an interrupted rotation, run the same command again.

Exit status: 0 the disks use the new KEK; 1 they do not, or the removal failed.
"""

import argparse
import hashlib
import os
import sys

import pyquelt


class Failure(Exception):
    """The rotation can't continue. The text is the reason."""


def write(stream, text):
    """Writes a line; escapes characters that the encoding lacks. Raises OSError."""
    if stream is None:
        raise OSError("it is closed")
    try:
        print(text.encode(stream.encoding, "backslashreplace").decode(stream.encoding), file=stream)
        stream.flush()
    except OSError:
        # The interpreter would write the rest of the buffer at exit, fail and change the status.
        os.dup2(os.open(os.devnull, os.O_WRONLY), stream.fileno())
        raise


def say(text):
    try:
        write(sys.stdout, text)
    except OSError as error:
        raise Failure("Standard output can't be written: {}".format(error))


def complain(text):
    try:
        write(sys.stderr, "rotate_kek: {}".format(text))
    except OSError:
        pass  # the exit status remains


def read_kek(path):
    try:
        with open(path) as file:
            key = bytes.fromhex(file.read().strip())
    except (OSError, ValueError) as error:
        raise Failure("{}: {}".format(path, error))
    if len(key) != 32:
        raise Failure("{}: a KEK has 32 bytes, this has {}".format(path, len(key)))
    return key


def cached_key(key_id):
    """Returns the key, or None if the cache does not return one."""
    try:
        return pyquelt.GetKeyFromKeyCache(key_id)
    except ValueError:
        return None


def kek_of(disk):
    info = pyquelt.GetEncInfoForDisk(disk)
    if not info["encrypted"] or info["useAwsKms"]:
        raise Failure("Disk {} is not encrypted under a KEK".format(disk))
    return info["kekId"]


def dek_digest(disk):
    """Returns a digest of the DEK, so that the script can compare DEKs without storing them."""
    return hashlib.sha256(pyquelt.GetDekFromDisk(disk)).digest()


class Rotation(object):

    def __init__(self, old, new, key, disks):
        self.old, self.new, self.key, self.disks = old, new, key, disks
        self.digests = {}
        self.added = False

    def check(self):
        """Raises Failure if the rotation could not be completed. Changes nothing."""
        if self.old == self.new:
            raise Failure("The new KEK id is the old one")
        if pyquelt.GetKekId() not in (self.old, self.new):
            raise Failure("The host's KEK id is {!r}".format(pyquelt.GetKekId()))
        for disk in self.disks:
            if kek_of(disk) not in (self.old, self.new):
                raise Failure("Disk {} is under another KEK, {!r}".format(disk, kek_of(disk)))
            self.digests[disk] = dek_digest(disk)
        cached = cached_key(self.new)
        if cached is None and self.users(self.new):
            raise Failure("Disks are under {!r}, but it is not in the cache".format(self.new))
        if cached is not None and cached != self.key:
            raise Failure("The cache holds another key under {!r}".format(self.new))

    def known_disks(self):
        """Returns the named disks and those that GetT1DiskInfo lists. There may be others."""
        return sorted(set(self.disks).union(pyquelt.GetT1DiskInfo()))

    def users(self, kek_id):
        """Returns the known disks that are under this KEK."""
        infos = {disk: pyquelt.GetEncInfoForDisk(disk) for disk in self.known_disks()}
        return sorted(disk for disk, info in infos.items()
                      if info["encrypted"] and not info["useAwsKms"] and info["kekId"] == kek_id)

    def rekey(self, source, target):
        """Moves the named disks under `source` to `target`, and verifies all of them."""
        pyquelt.SetKekId(target)
        disks = [disk for disk in self.disks if kek_of(disk) == source]
        if disks:
            pyquelt.ShallowRekey(disks)
        for disk in self.disks:
            if kek_of(disk) != target or dek_digest(disk) != self.digests[disk]:
                raise Failure("Disk {} is not under {!r} with its DEK".format(disk, target))

    def apply(self):
        if cached_key(self.new) is None:
            self.added = True
            pyquelt.CacheKey(self.new, "KEK", self.key)
        if cached_key(self.new) != self.key:
            raise Failure("The cache does not return the new KEK")
        say("The new KEK is in the key cache")
        self.rekey(self.old, self.new)
        say("{} disks are under {!r}".format(len(self.disks), self.new))

    def roll_back(self):
        self.rekey(self.new, self.old)
        if self.added and not self.users(self.new) and cached_key(self.new) is not None:
            pyquelt.RemoveKey(self.new)

    def remove_old(self):
        users = self.users(self.old)
        if users:
            raise Failure("{!r} stays in the key cache, because it is the KEK of {}".format(
                self.old, ", ".join(users)))
        say("No disk is under {!r} among {}: other disks were not checked".format(
            self.old, ", ".join(self.known_disks())))
        if cached_key(self.old) is not None:
            pyquelt.RemoveKey(self.old)
        say("The old KEK is no longer in the key cache")


def check_kms(cluster, kek_id):
    status = pyquelt.CheckKmsStatus(cluster, kek_id, 10)
    if not status["good"]:
        raise Failure("The KMS is not good: {}".format(status["reason"]))


def rotate(options):
    rotation = Rotation(options.old, options.new, read_kek(options.key_file), options.disks)
    if options.kms:
        check_kms(options.kms, options.new)
    rotation.check()
    try:
        rotation.apply()
    except (Exception, KeyboardInterrupt):
        try:
            rotation.roll_back()
            complain("A step failed: the disks are back under {!r}".format(options.old))
        except Exception as error:
            # Both KEKs are still in the cache, so every DEK can be unwrapped.
            complain("The rollback failed too: {}. Both KEKs stay; run this again".format(error))
        raise
    if options.remove_old:
        rotation.remove_old()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--kms", metavar="CLUSTER", help="check this KMIP cluster first")
    parser.add_argument("--remove-old", action="store_true",
                        help="remove the old KEK from the cache, unless a DISK or one that "
                        "GetT1DiskInfo lists is under it: any other disk under it is lost")
    parser.add_argument("old", metavar="OLD_KEK_ID")
    parser.add_argument("new", metavar="NEW_KEK_ID")
    parser.add_argument("key_file", metavar="KEY_FILE")
    parser.add_argument("disks", metavar="DISK", nargs="+")
    try:
        rotate(parser.parse_args())
    except (Failure, ValueError, RuntimeError) as error:
        complain(error)
        sys.exit(1)


if __name__ == "__main__":
    main()
