"""Searches this process's own memory for secrets. They are given with every bit turned round, so
that the search does not find itself."""

import ctypes
import errno
import mmap
import os
import re
import sys

INVERT = bytes(bytearray(range(255, -1, -1)))
PAGE = mmap.PAGESIZE
# A sanitizer keeps freed memory as it was, the interpreter's, too.
POSSIBLE = (os.access("/proc/self/mem", os.R_OK) and
            "san" not in os.path.basename(os.environ.get("LD_PRELOAD", "").split(":")[0]))


def _content(memory, start, end):
    """What can be read of a mapping. The guard page that glibc from 2.43 on puts into a thread's
    stack can't be read, although the mapping is readable."""
    parts = []
    while start < end:
        memory.seek(start)
        try:
            part = memory.read(end - start)  # up to the guard page
        except OSError as failure:
            if failure.errno != errno.EIO:
                raise
            part = b""
        parts.append(part)
        start += len(part) or PAGE
    return b"".join(parts)


def occurrences(*inverted):
    """How often each of them stands in memory."""
    counts = [0] * len(inverted)
    with open("/proc/self/maps") as maps, open("/proc/self/mem", "rb", 0) as memory:
        for line in maps:
            area = re.match("([0-9a-f]+)-([0-9a-f]+) rw", line)
            if area and "[v" not in line:
                there = _content(memory, *(int(text, 16) for text in area.groups()))
                there = there.translate(INVERT)
                counts = [count + there.count(text) for count, text in zip(counts, inverted)]
    return counts


def wipe(item):
    """Overwrites the own bytes of an object that can't be changed, or of a tuple's."""
    if isinstance(item, tuple):
        for part in item:
            wipe(part)
    elif isinstance(item, (bytes, str)) and item:
        size = sys.getsizeof(item)
        ctypes.memset(id(item) + size - len(item) - 1, 0, len(item))
