#!/usr/bin/env python3
"""Puts encrypted disks under a new key-encryption key (KEK), step by step, with a way back.

    rotate_kek.py [--kms CLUSTER] [--remove-old] OLD_KEK_ID NEW_KEK_ID KEY_FILE DISK...

KEY_FILE holds the new KEK, 64 hexadecimal digits. The steps: check everything, put the new KEK into
the key cache, make its id the host's, rekey the disks, verify each.

The old KEK stays in the key cache, for nothing lists all disks of a host: one that was not named
may still be under it. With --remove-old it is removed, after everything else, and unless a disk is
under it. Looked at are the disks named and those that GetT1DiskInfo lists: THE DEK OF ANY OTHER
DISK THAT IS UNDER THE OLD KEK IS THEN LOST.

When a step fails, the steps before it are undone. A step includes its message: the disks are also
put back when standard output is closed. When the script itself is interrupted, at whatever point,
nothing is lost. The same command again finishes the job.

Exit status: 0 the disks are under the new KEK; 1 they are not, or not all of it could be done.
"""

import argparse
import hashlib
import os
import sys

import pyquelt


class Failure(Exception):
    """The rotation cannot go on; the text says why."""


def write(stream, text):
    """Writes a line. What the stream's encoding doesn't have is escaped. Raises OSError."""
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
    """The key, or None when the cache gives none."""
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
    """What tells a DEK from another without keeping it."""
    return hashlib.sha256(pyquelt.GetDekFromDisk(disk)).digest()


class Rotation(object):

    def __init__(self, old, new, key, disks):
        self.old, self.new, self.key, self.disks = old, new, key, disks
        self.digests = {}
        self.added = False

    def check(self):
        """Refuses what could not be finished. Changes nothing."""
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
            raise Failure("Disks are under {!r}, but the cache does not give it".format(self.new))
        if cached is not None and cached != self.key:
            raise Failure("The cache holds another key under {!r}".format(self.new))

    def known_disks(self):
        """The disks that were named and those that GetT1DiskInfo lists: there may be others."""
        return sorted(set(self.disks).union(pyquelt.GetT1DiskInfo()))

    def users(self, kek_id):
        """Those of the known disks that are under a KEK."""
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

    def forward(self):
        if cached_key(self.new) is None:
            self.added = True
            pyquelt.CacheKey(self.new, "KEK", self.key)
        if cached_key(self.new) != self.key:
            raise Failure("The cache does not give the new KEK back")
        say("The new KEK is in the key cache")
        self.rekey(self.old, self.new)
        say("{} disks are under {!r}".format(len(self.disks), self.new))

    def back(self):
        self.rekey(self.new, self.old)
        if self.added and not self.users(self.new) and cached_key(self.new) is not None:
            pyquelt.RemoveKey(self.new)

    def remove_old(self):
        users = self.users(self.old)
        if users:
            raise Failure("{!r} stays in the key cache, for it is the KEK of {}".format(
                self.old, ", ".join(users)))
        say("No disk is under {!r} among {}: other disks were not looked at".format(
            self.old, ", ".join(self.known_disks())))
        if cached_key(self.old) is not None:
            pyquelt.RemoveKey(self.old)
        say("The old KEK is not in the key cache any more")


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
        rotation.forward()
    except (Exception, KeyboardInterrupt):
        try:
            rotation.back()
            complain("A step failed: the disks are back under {!r}".format(options.old))
        except Exception as error:
            # Both KEKs are still in the cache, so every DEK can be unwrapped.
            complain("The way back failed too: {}. Both KEKs stay; run this again".format(error))
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
