"""python3 -m quelt_testing capture: writes the host that it runs on as a scenario."""

import argparse
import json
import sys
import uuid
from typing import List, Optional

from quelt_testing.capture import CaptureError, read_host


def _text(argument: str) -> str:
    try:
        argument.encode("utf-8")
    except UnicodeEncodeError:
        raise argparse.ArgumentTypeError("{!a} is not UTF-8".format(argument))
    return argument


def _uuid_text(argument: str) -> str:
    try:
        return str(uuid.UUID(argument))
    except ValueError:
        raise argparse.ArgumentTypeError("{!a} is not a UUID".format(argument))


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="python3 -m quelt_testing")
    commands = parser.add_subparsers(dest="command", metavar="COMMAND")
    commands.required = True
    capture = commands.add_parser(
        "capture", help="write the host that this runs on as a scenario",
        description="Read the host that this runs on, through pyquelt, and write it as a scenario "
                    "to standard output. Keys and passwords are not read; those that a copy needs "
                    "are generated. The entry \"captured\" says what was read.",
        epilog="Example: python3 -m quelt_testing capture --disks naa.58ce38ee20a1c002 > host.json")
    capture.add_argument("--disks", metavar="NAME", nargs="+", type=_text, default=[],
                         help="read these disks, in addition to those of GetT1DiskInfo")
    capture.add_argument("--objects", metavar="UUID", nargs="+", type=_uuid_text, default=[],
                         help="read these objects")
    capture.add_argument("--check-kms", action="store_true",
                         help="check the key servers, and record the results")
    return parser


def main(arguments: Optional[List[str]] = None) -> int:
    """Runs a command line. Returns the exit status: 0, or 1 for a failure; invalid usage raises
    SystemExit with status 2."""
    options = _parser().parse_args(arguments)
    try:
        document = read_host(options.disks, options.objects, options.check_kms)
    except (CaptureError, ImportError) as error:
        print("quelt_testing: {!s}".format(error).encode("ascii", "backslashreplace").decode(),
              file=sys.stderr)
        return 1
    json.dump(document, sys.stdout, indent=2)
    print(flush=True)
    failed = len(document["captured"]["failed"])
    if failed:
        print("quelt_testing: {} of {} calls failed; see \"failed\" under \"captured\"".format(
            failed, failed + len(document["captured"]["read"])), file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main())
