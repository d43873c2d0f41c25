"""Searches the memory of this process for secrets. They are passed with every bit inverted, so that
the search does not find its own arguments."""

import ctypes
import errno
import mmap
import os
import re
import sys

INVERT = bytes(bytearray(range(255, -1, -1)))
PAGE = mmap.PAGESIZE
# With a sanitizer, freed memory of the interpreter keeps its content.
POSSIBLE = (os.access("/proc/self/mem", os.R_OK) and
            "san" not in os.path.basename(os.environ.get("LD_PRELOAD", "").split(":")[0]))


def _content(memory, start, end):
    """The readable content of a mapping. From glibc 2.43 on, a thread's stack has a guard page that
    can't be read, although the mapping is readable."""
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
    """The number of copies of each secret in memory."""
    counts = [0] * len(inverted)
    with open("/proc/self/maps") as maps, open("/proc/self/mem", "rb", 0) as memory:
        for line in maps:
            area = re.match("([0-9a-f]+)-([0-9a-f]+) rw", line)
            if area and "[v" not in line:
                content = _content(memory, *(int(text, 16) for text in area.groups()))
                content = content.translate(INVERT)
                counts = [count + content.count(text) for count, text in zip(counts, inverted)]
    return counts


def wipe(item):
    """Overwrites the bytes of an immutable object, or of the items of a tuple."""
    if isinstance(item, tuple):
        for part in item:
            wipe(part)
    elif isinstance(item, (bytes, str)) and item:
        size = sys.getsizeof(item)
        ctypes.memset(id(item) + size - len(item) - 1, 0, len(item))
