#!/usr/bin/env python3
"""Replaces the KEK of one disk, carelessly: docs/rehearsing.md finds the mistakes. Don't use it;
rotate_kek.py does the same with care.

    careless_rotation.py DISK OLD_KEK_ID NEW_KEK_ID

Both KEKs are in the key cache.
"""

import os
import sys
import time

import pyquelt


def rotate(disk, old, new):
    try:
        print("Host", pyquelt.GetHardwareSku())
    except ValueError:
        print("Host without SKU")

    pyquelt.SetKekId(new)
    pyquelt.ShallowRekey([disk])  # mistake: if this fails, the host's KEK id stays changed

    try:
        pyquelt.RemoveKey(old)
    except ValueError:
        pass  # mistake: the old KEK stays in the cache, and nobody is told

    try:
        pyquelt.SetPerfsvcHostConfigStore("rotated", disk)
    except ValueError:
        print("The rotation is not recorded")
    while pyquelt.GetPerfsvcHostConfigStore().get("rotated") != disk:  # mistake: no time limit
        time.sleep(0.05)

    try:
        pyquelt.GetDekFromDisk(disk)
    except ValueError:
        os.abort()  # mistake: no message says what is wrong
    print(disk, "is under", pyquelt.GetEncInfoForDisk(disk)["kekId"])


if __name__ == "__main__":
    rotate(*sys.argv[1:])
