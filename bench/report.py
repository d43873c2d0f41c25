"""Makes docs/performance.md from the figures of one run."""

import chart
import goals
import scaling

BLOCKS_PER_TB = 1e12 / 2048


def time_text(seconds):
    for unit, size in (("s", 1), ("ms", 1e-3), ("µs", 1e-6)):
        if seconds >= size:
            return "%.3g %s" % (seconds / size, unit)
    return "%.0f ns" % (seconds / 1e-9)


def table(heads, rows):
    lines = [heads, ["---"] + ["---:"] * (len(heads) - 1)] + rows
    return ["| " + " | ".join(str(cell) for cell in line) + " |" for line in lines] + [""]


def columns(rows):
    return [name for name in list(chart.TOOLS) + ["raw C++"] if any(name in row for row in rows)]


def ratio_cell(found):
    ratio = found["ratio"]
    return "%.2f (%.2f–%.2f)" % (ratio["median"], ratio["low"], ratio["high"])


def bindings_table(rows):
    names = columns([row["bindings"] for row in rows])
    return table(["call", "plain takes"] + names, [
        [row["name"], time_text(row["bindings"]["plain"]["median"])] + [
            "1" if name == "plain" else ratio_cell(row["bindings"][name])
            if name in row["bindings"] else "" for name in names] for row in rows])


def counts_table(counts):
    names = columns(counts.values())
    return table(["call"] + names, [
        [row] + ["{:,.0f}".format(found[name]) if name in found else "" for name in names]
        for row, found in counts.items()])


def goal_table(figures):
    return table(["goal", "figure", "", "reason"],
                 [list(row) for row in goals.Goals(figures).list])


def script_paragraph(figures):
    """What the figures mean for a script."""
    rows = {row["name"]: row["bindings"] for row in figures["bindings"]}
    sku = rows["GetHardwareSku"]["pyquelt"]["median"]
    block = figures["blocks"]["calls"]["pyquelt"]["median"]
    native = figures["blocks"]["calls"]["raw OpenSSL"]["median"]
    return ("**For a script**, a call costs about a microsecond or less: `GetHardwareSku` takes %s "
            "here. A host that reads a disk or asks a server takes thousands of times longer. Only "
            "calls in a large loop are noticeable: decrypting 1 TB, with one call for each of its "
            "%d million blocks, takes one processor about %.0f minutes, of which the cryptography "
            "alone takes %.0f." % (
                time_text(sku), round(BLOCKS_PER_TB / 1e6), block * BLOCKS_PER_TB / 60,
                native * BLOCKS_PER_TB / 60))


def page(figures):
    blocks, store, imports = figures["blocks"], figures["store"], figures["import"]
    lines = [
        "# Performance", "",
        "This page compares what a call of the module costs with the same function bound in other "
        "ways. All bindings call the same native operations of a host library that answers from "
        "memory. They run interleaved in one process, on a machine with other load: only ratios "
        "are meaningful. `plain` is hand-written extension code with argument tuples and "
        "dictionary items set by C string. A ratio below 1 is faster than `plain`.", "",
        "For example, 0.80 in the column `pyquelt` means that the module takes 80 % of the time of "
        "`plain`.", "",
        script_paragraph(figures), "",
        "`./run bench` wrote this page on %s; %s; %s." % (
            figures["date"], figures["processor"], ", ".join(figures["versions"])), "",
        "![Time per call, relative to plain extension code](performance.svg)", "",
        "## Time, relative to plain extension code", "",
        "The median of all rounds and, in parentheses, the interquartile range: half of the rounds "
        "lie in it. `raw C++` is the native operation alone.", ""]
    lines += bindings_table(figures["bindings"])
    if "newest" in figures:
        lines += ["The same with CPython %s, the newest interpreter of the machine:" % (
            figures["newest"]["version"]), ""] + bindings_table(figures["newest"]["bindings"])
    lines += ["## Instructions per call", "",
              "Counted by callgrind, with the same interpreter.", ""]
    lines += counts_table(figures["counts"])
    lines += ["## Goals", "",
              "Two equal measurements differ by up to %.0f %% in one run; a goal is met within "
              "that." % (goals.NOISE * 100), ""] + goal_table(figures)
    lines += ["## GetUnicastAgents by the number of agents", "",
              "Peak memory with 100,000 agents: %.1f MiB; `plain`: %.1f MiB." % (
                  figures["memory"]["pyquelt"], figures["memory"]["plain_peer"]), ""]
    lines += table(["agents", "module", "per agent", "plain", "ratio", "native part"], [
        ["{:,}".format(point["agents"]), time_text(point["seconds"]["pyquelt"]),
         time_text(point["seconds"]["pyquelt"] / point["agents"]),
         time_text(point["seconds"]["plain"]), "%.2f" % point["ratio"]["median"],
         time_text(point["seconds"]["raw C++"])] for point in figures["growth"]])
    lines += ["## Decrypt2kBlock with real cryptography", "",
              "On the embedded host. `plain` is extension code that calls OpenSSL, and sets and "
              "clears the key for each block. The lower bound: %s." % figures["openssl"], ""]
    lines += table(["", "a block takes"], [
        [name, time_text(figure["median"])] for name, figure in blocks["calls"].items()] + [
            ["%s thread%s, wall time" % (name, "s" * name.endswith("2")),
             time_text(figure["median"])] for name, figure in sorted(blocks["threads"].items())])
    lines += ["## Two threads", "",
              "On the embedded host: the wall time per call if one thread makes all calls, and if "
              "two threads make half of them each. The gain is the ratio of both. C++ threads that "
              "only decrypt show the gain that the machine allows.", ""]
    lines += table(*scaling.rows(figures["scaling"], time_text))
    lines += ["## The embedded host", "",
              "Each operation compared with the same prepared statement on a plain SQLite "
              "connection to the same file; a feature query compared with a clock that is read "
              "from memory.", ""]
    lines += table(["", "host", "plain SQLite", "ratio"], [
        [name, time_text(store[part]["host"]), time_text(store[part]["bare"]),
         "%.2f" % store[part]["ratio"]] for part, name in (
             ("read", "a setting read"), ("write", "a setting written"),
             ("list", "100,000 agents listed"), ("switch", "a feature query"))])
    lines += ["Importing the module takes {:,} instructions, an empty extension with the same "
              "libraries {:,}.".format(imports["pyquelt"], imports["empty"]), ""]
    return "\n".join(lines)
