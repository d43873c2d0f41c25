"""Draws docs/performance.svg: for each call, one line per tool."""

import math

# Marks differ in shape, so that the tools are distinguishable without colour. Each mark is drawn
# around the origin; the colours are readable on a light and a dark background.
TOOLS = {
    "pyquelt": ("#d9480f", "<circle r='4' fill='none' stroke-width='3' stroke='{0}'/>"),
    "plain": ("#868e96", "<rect x='-4' y='-4' width='8' height='8' fill='{0}'/>"),
    "pybind11": ("#1c7ed6", "<path d='M0-5 5 4H-5Z' fill='{0}'/>"),
    "nanobind": ("#7048e8", "<path d='M0 5 5-4H-5Z' fill='{0}'/>"),
    "cython": ("#2f9e44", "<path d='M0-5 5 0 0 5-5 0Z' fill='{0}'/>"),
    "cffi": ("#e8a400", "<path d='M-4-4 4 4M4-4-4 4' stroke='{0}' stroke-width='2'/>"),
    "ctypes": ("#c2255c", "<path d='M-5 0H5M0-5V5' stroke='{0}' stroke-width='2'/>")}
LEFT, TOP, WIDTH, LINE, GAP, BOTTOM = 190, 56, 580, 15, 18, 74
LOWEST, HIGHEST = 0.35, 16.0
STYLE = ("text{font:13px sans-serif;fill:#343a40}.axis{stroke:#adb5bd}"
         "@media(prefers-color-scheme:dark){text{fill:#e9ecef}.axis{stroke:#495057}}")


def place(ratio):
    position = math.log(ratio / LOWEST) / math.log(HIGHEST / LOWEST)
    return LEFT + WIDTH * min(1.0, max(0.0, position))


def mark(tool, x, y):
    colour, shape = TOOLS[tool]
    return "<g transform='translate(%.1f %.1f)'>%s</g>" % (x, y, shape.format(colour))


def text(x, y, content, anchor="start"):
    return "<text x='%.1f' y='%.1f' text-anchor='%s'>%s</text>" % (x, y, anchor, content)


def axis(bottom):
    for ratio in (0.5, 1, 2, 4, 8, 16):
        x = place(ratio)
        yield "<path class='axis' d='M%.1f %d V%d' stroke-width='%d'/>" % (
            x, TOP - 16, bottom, 2 if ratio == 1 else 1)
        yield text(x, bottom + 18, "%g×" % ratio, "middle")
    for line, content in enumerate((
            "time per call, relative to plain extension code (logarithmic scale)",
            "left is faster; mark: median, shaded bar: interquartile range")):
        yield text(LEFT + WIDTH / 2, bottom + 42 + 18 * line, content, "middle")


def figure_of(tool, ratio, y):
    """The median's mark and the interquartile range, which is higher than the mark."""
    low, high = place(ratio["low"]), place(ratio["high"])
    return ("<g><title>%s %.2f (%.2f to %.2f)</title>"
            "<rect x='%.1f' y='%.1f' width='%.1f' height='%d' "
            "fill='%s' fill-opacity='.45'/>%s</g>") % (
                tool, ratio["median"], ratio["low"], ratio["high"], low, y - LINE / 2,
                high - low, LINE, TOOLS[tool][0], mark(tool, place(ratio["median"]), y))


def chart(rows):
    """Returns the picture for the rows of the stage bindings.py."""
    step = LINE * len(TOOLS) + GAP
    bottom = TOP + step * len(rows) - GAP
    parts = ["<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %d %d' role='img' aria-label="
             "'Time per call, relative to plain extension code'>" % (
                 LEFT + WIDTH + 30, bottom + BOTTOM), "<style>%s</style>" % STYLE]
    for number, tool in enumerate(TOOLS):
        parts += [mark(tool, 16 + 108 * number, 16), text(28 + 108 * number, 21, tool)]
    parts += axis(bottom)
    for number, row in enumerate(rows):
        top = TOP + step * number
        if number:
            parts.append("<path class='axis' d='M10 %.1f H%d' stroke-dasharray='2 4'/>" % (
                top - GAP / 2 - 4, LEFT + WIDTH))
        parts.append(text(10, top + step / 2 - GAP / 2 + 5, row["name"]))
        for lane, tool in enumerate(TOOLS):
            found = row["bindings"].get(tool)
            if found:
                parts.append(figure_of(tool, found["ratio"], top + LINE * lane + 2))
    return "\n".join(parts + ["</svg>", ""])
