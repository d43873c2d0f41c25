"""Makes docs/performance.md and docs/performance.svg from the figures of one run."""

import math

import goals

# Readable on a light and a dark background. The module is a ring, so that it hides no dot.
DOT, RING = "r='6' fill", "r='8' fill='none' stroke-width='4' stroke"
COLOURS = {"pyquelt": "#d9480f", "plain": "#868e96", "pybind11": "#1c7ed6", "nanobind": "#7048e8",
           "cython": "#2f9e44", "cffi": "#e8a400", "ctypes": "#c2255c"}
LEFT, TOP, WIDTH, STEP = 190, 56, 560, 44
LOWEST, HIGHEST = 0.35, 16.0


def place(ratio):
    position = math.log(ratio / LOWEST) / math.log(HIGHEST / LOWEST)
    return LEFT + WIDTH * min(1.0, max(0.0, position))


def chart(figures):
    rows = figures["bindings"]
    height = TOP + STEP * len(rows) + 30
    parts = ["<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %d %d' role='img' "
             "aria-label='Time per call, relative to plain extension code'>" % (
                 LEFT + WIDTH + 30, height),
             "<style>text{font:13px sans-serif;fill:#343a40}.faint{stroke:#adb5bd}"
             "@media(prefers-color-scheme:dark){text{fill:#e9ecef}.faint{stroke:#495057}}</style>"]
    x = 10
    for name, colour in COLOURS.items():
        parts.append("<circle cx='%d' cy='16' %s='%s'/><text x='%d' y='21'>%s</text>" % (
            x + 6, RING if name == "pyquelt" else DOT, colour, x + 18, name))
        x += 100
    for ratio in (0.5, 1, 2, 4, 8, 16):
        parts.append("<line class='faint' x1='%.1f' x2='%.1f' y1='%d' y2='%d' stroke-width='%d'/>"
                     "<text x='%.1f' y='%d' text-anchor='middle'>%g×</text>" % (
                         place(ratio), place(ratio), TOP - 14, height - 26, 2 if ratio == 1 else 1,
                         place(ratio), height - 8, ratio))
    for number, row in enumerate(rows):
        y = TOP + STEP * number + 8
        parts.append("<text x='10' y='%d'>%s</text>" % (y + 5, row["name"]))
        for name in reversed(list(COLOURS)):
            if name in row["bindings"]:
                ratio = row["bindings"][name]["ratio"]["median"]
                parts.append("<circle cx='%.1f' cy='%d' %s='%s'><title>%s %.2f</title></circle>" % (
                    place(ratio), y, RING if name == "pyquelt" else DOT, COLOURS[name], name,
                    ratio))
    return "\n".join(parts + ["</svg>", ""])


def time_text(seconds):
    for unit, size in (("s", 1), ("ms", 1e-3), ("µs", 1e-6)):
        if seconds >= size:
            return "%.3g %s" % (seconds / size, unit)
    return "%.0f ns" % (seconds / 1e-9)


def table(heads, rows):
    lines = [heads, ["---"] + ["---:"] * (len(heads) - 1)] + rows
    return ["| " + " | ".join(str(cell) for cell in line) + " |" for line in lines] + [""]


def half_width(ratio):
    """Half the interquartile range of the ratios of all rounds."""
    return ratio["spread"] / 2 * ratio["median"]


def bindings_table(figures):
    names = [name for name in list(COLOURS) + ["floor", "raw C++"]
             if any(name in row["bindings"] for row in figures["bindings"])]
    rows = []
    for row in figures["bindings"]:
        cells = [row["name"], time_text(row["bindings"]["plain"]["median"])]
        for name in names:
            found = row["bindings"].get(name)
            cells.append("%.2f ±%.2f" % (found["ratio"]["median"], half_width(found["ratio"]))
                         if found and name != "plain" else "1" if found else "")
        rows.append(cells)
    return table(["call", "plain takes"] + names, rows)


def counts_table(figures):
    names = [name for name in list(COLOURS) + ["floor", "raw C++"]
             if any(name in counts for counts in figures["counts"].values())]
    return table(["call"] + names, [
        [row] + ["{:,.0f}".format(counts[name]) if name in counts else "" for name in names]
        for row, counts in figures["counts"].items()])


def goal_table(figures):
    return table(["goal", "figure", "", "reason"],
                 [list(row) for row in goals.Goals(figures).list])


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
        "`./run bench` wrote this page on %s; %s; %s." % (
            figures["date"], figures["processor"], ", ".join(figures["versions"])), "",
        "![Time per call, relative to plain extension code](performance.svg)", "",
        "## Time, relative to plain extension code", "",
        "Medians of the ratios of all rounds, ± half the interquartile range. `floor` is the "
        "calling convention alone: it parses the arguments, releases and acquires the GIL, and "
        "creates a result as the module's functions must. `raw C++` is the native operation "
        "alone.", ""]
    lines += bindings_table(figures)
    lines += ["## Instructions per call", "",
              "Counted by callgrind, with the same interpreter.", ""]
    lines += counts_table(figures)
    lines += ["## Goals", ""] + goal_table(figures)
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
