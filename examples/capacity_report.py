#!/usr/bin/env python3
"""Reports how much space of this host is in use.

    capacity_report.py [--most PERCENT] [--json]

Exit status: 0, or 1 if more than PERCENT (default 80) of the logical or the physical space is in
use, or if the host does not answer.
"""

import argparse
import json
import sys

import pyquelt

OVERHEADS = [("deduplication metadata", "dedupMetadataSize"), ("file system", "logicalFSOverhead"),
             ("block attributes", "blkAttrOverhead"), ("transient", "transientSpace"),
             ("transient, physical", "physicalTransientSpace")]


def size_text(size):
    """Formats a number of bytes, for example as 1.5 GiB."""
    for unit in ("B", "KiB", "MiB", "GiB", "TiB"):
        if size < 1024:
            break
        size /= 1024.0
    else:
        unit = "PiB"
    return "{:.1f} {}".format(size, unit)


def percent(used, capacity):
    return 100.0 * used / capacity if capacity else 100.0


def report(info, most):
    """Returns the figures of the report as a dict. `full`: the spaces that exceed the limit."""
    spaces = {}
    for name in ("logical", "physical"):
        capacity, used = info[name + "Capacity"], info[name + "Used"]
        spaces[name] = {"capacity": capacity, "used": used, "percent": percent(used, capacity)}
    return {"spaces": spaces,
            "overheads": dict((key, info[key]) for _, key in OVERHEADS),
            "full": sorted(name for name in spaces if spaces[name]["percent"] > most)}


def print_report(figures):
    for name, space in sorted(figures["spaces"].items()):
        print("{:<24}{:>12} of {:>12}  {:5.1f} %".format(
            name + " space", size_text(space["used"]), size_text(space["capacity"]),
            space["percent"]))
    for name, key in OVERHEADS:
        print("  {:<22}{:>12}".format(name, size_text(figures["overheads"][key])))
    for name in figures["full"]:
        print("Too little {} space is left".format(name))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--most", type=float, default=80.0, metavar="PERCENT",
                        help="report more use than this as too little space (default 80)")
    parser.add_argument("--json", action="store_true", help="print one JSON object")
    options = parser.parse_args()
    try:
        figures = report(pyquelt.GetHostInfo(), options.most)
    except ValueError as error:
        sys.exit("capacity_report: {}".format(error))
    if options.json:
        print(json.dumps(figures, sort_keys=True))
    else:
        print_report(figures)
    sys.exit(1 if figures["full"] else 0)


if __name__ == "__main__":
    main()
