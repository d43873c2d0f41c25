"""KMIP servers for tests: a recorded exchange, responses composed by a test (in TTLV, the encoding
of OASIS KMIP), or the server that Debian packages as python3-pykmip."""

import binascii
import contextlib
import os
import struct
import subprocess

import hosts

HERE = os.path.dirname(os.path.abspath(__file__))

#: One Discover Versions exchange with the engine of the packaged server.
REQUEST, RESPONSE = map(binascii.unhexlify, (
    "42007801000000704200770100000038420069010000002042006a020000000400000001000000004200"
    "6b0200000004000000010000000042000d0200000004000000010000000042000f010000002842005c05"
    "000000040000001e0000000042009308000000040d0a0d0a000000004200790100000000",
    "42007b010000018042007a0100000048420069010000002042006a020000000400000001000000004200"
    "6b020000000400000001000000004200920900000008000000006b0483ea42000d020000000400000001"
    "0000000042000f010000012842005c05000000040000001e0000000042009308000000040d0a0d0a0000"
    "000042007f0500000004000000000000000042007c01000000f0420069010000002042006a0200000004"
    "000000020000000042006b02000000040000000000000000420069010000002042006a02000000040000"
    "00010000000042006b02000000040000000400000000420069010000002042006a020000000400000001"
    "0000000042006b02000000040000000300000000420069010000002042006a0200000004000000010000"
    "000042006b02000000040000000200000000420069010000002042006a02000000040000000100000000"
    "42006b02000000040000000100000000420069010000002042006a020000000400000001000000004200"
    "6b02000000040000000000000000"))

PYTHON = ["/usr/bin/python3", "-I", "-W", "ignore"]
#: The reason why the packaged server can't run on this machine; None if it can.
UNAVAILABLE = None if hosts.can_run(
    PYTHON + ["-c", "import kmip.services.server, ssl; ssl.wrap_socket"]) else (
    "no packaged KMIP server: needs Debian's python3-pykmip and a /usr/bin/python3 before 3.12")


def item(tag, kind, value):
    """One item; a number or a list of items is encoded for its type."""
    if isinstance(value, list):
        value = b"".join(value)
    elif isinstance(value, int):
        value = struct.pack(">q" if kind == 9 else ">I", value)
    return (struct.pack(">II", (0x420000 + tag) << 8 | kind, len(value)) + value
            + b"\0" * (-len(value) % 8))


VERSION = item(0x69, 1, [item(0x6A, 2, 1), item(0x6B, 2, 1)])
COUNT = item(0x0D, 2, 1)
TIME = item(0x92, 9, 0)
OPERATION = item(0x5C, 5, 0x1E)
SUCCESS = [item(0x7F, 5, 0), item(0x7C, 1, [VERSION])]


def response(batch_item=(OPERATION,) + tuple(SUCCESS), header=(VERSION, TIME, COUNT), rest=()):
    """A response message of these items."""
    return item(0x7B, 1, [item(0x7A, 1, list(header)), item(0x0F, 1, list(batch_item))]
                + list(rest))


def failed(reason, message=""):
    return response([item(0x7F, 5, 1), item(0x7E, 5, reason),
                     item(0x7D, 7, message.encode("utf-8"))])


def replay(request):
    """The recorded response to the recorded request; empty for another request."""
    return RESPONSE if request == REQUEST else b""


@contextlib.contextmanager
def packaged(tls, certificate, key, ca):
    """The port of the packaged server with TLS "1.2", or of its engine with "1.3"."""
    process = subprocess.Popen(
        PYTHON + [os.path.join(HERE, "packaged_kmip_server.py"), tls, certificate, key, ca,
                  hosts.FOLDER], env=dict(os.environ, **hosts.FOREIGN),
        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    with process:
        try:
            yield int(process.stdout.readline())
        finally:
            process.stdin.close()  # ends the server
