"""The module's performance goals. Each has its figure and, if it is not met, the reason in figures.

If the calling convention is the reason, that contains the floor: the cost of a function that parses
its arguments and creates its result in the required way, without an operation (peers/floor.cpp).
"""

NOISE = 0.01  # two equal measurements differ by this in one run
PEERS = ("plain", "pybind11", "nanobind", "cython", "cffi", "ctypes")
SMALL = ("GetHardwareSku", "SetIloAuth", "CheckKmsStatus", "Decrypt2kBlock")
THOUSAND, MANY = "GetUnicastAgents, 1,000", "GetUnicastAgents, 100,000"


class Goals:
    """The goals for one run's figures: a list of (goal, figure, "met" or "not met", reason)."""

    def __init__(self, figures):
        self.figures = figures
        self.rows = {row["name"]: row["bindings"] for row in figures["bindings"]}
        self.list = []
        self.add_bindings()
        self.add_listing()
        self.add_blocks()
        self.add_host()

    def add(self, goal, figure, limit, reason="", shown="%.2f"):
        met = figure <= limit * (1 + NOISE)
        self.list.append((goal, shown % figure, "met" if met else "not met",
                          "" if met else reason))

    def ratio_to(self, row, peer):
        """Returns the module's time divided by a peer's, or None if the peer is missing."""
        found = self.rows[row].get(peer)
        return found and found["module_ratio"]["median"]

    def floor_reason(self, row, peer):
        """Returns the cost of the calling convention, of the native operation and of our whole call
        as shares of a peer's call, in time and in instructions (which other load doesn't change).
        """
        found = self.rows[row]
        if not {"floor", "raw C++", peer} <= set(found):
            return ""
        parts = []
        for costs in ({name: found[name]["ratio"]["median"] for name in found},
                      self.figures["counts"][row]):
            floor, native, whole = (costs[name] / costs[peer]
                                    for name in ("floor", "raw C++", "pyquelt"))
            parts += [floor, native, floor + native, whole]
        return ("relative to " + peer + ": calling convention %.2f + native operation %.2f = %.2f,"
                " whole call %.2f; in instructions %.2f + %.2f = %.2f, whole call %.2f"
                ) % tuple(parts)

    def add_bindings(self):
        for row in SMALL + (THOUSAND, MANY):
            limits = [("plain", 1.0), ("pybind11", 0.85), ("cffi", 1.0), ("ctypes", 1.0)]
            if row == "CheckKmsStatus":
                limits[0] = ("plain", 0.75)
            if row == "SetIloAuth":
                limits.append(("cython", 1.0))
            for peer, limit in limits:
                figure = self.ratio_to(row, peer)
                if figure is not None:
                    self.add("%s: at most %.2f × %s" % (row, limit, peer), figure, limit,
                             self.floor_reason(row, peer))

    def add_listing(self):
        for row, limit in ((THOUSAND, 1.0), (MANY, 0.9)):
            present = [peer for peer in PEERS if peer in self.rows[row]]
            best = min(present, key=lambda peer: self.rows[row][peer]["median"])
            self.add("%s: at most %.2f × the best peer (%s)" % (row, limit, best),
                     self.ratio_to(row, best), limit, "see the instruction counts")
        memory = self.figures["memory"]
        self.add("Peak memory of GetUnicastAgents, 100,000: at most 1.02 × plain",
                 memory["pyquelt"] / memory["plain_peer"], 1.02)
        self.add("GetUnicastAgents is linear: an agent among 1,000,000 costs at most 2.00 × one"
                 " among 1,000 (the records alone, in C++: %.2f)" % self.growth_of("raw C++"),
                 self.growth_of("pyquelt"), 2.0,
                 "the machine's memory: for plain code it is %.2f" % self.growth_of("plain"))

    def growth_of(self, name):
        """Returns the time per agent in a list of 1,000,000, relative to a list of 1,000."""
        seconds = {point["agents"]: point["seconds"][name] / point["agents"]
                   for point in self.figures["growth"]}
        return seconds[1000000] / seconds[1000]

    def add_blocks(self):
        blocks = self.figures["blocks"]
        self.add("Decrypt2kBlock, real: at most 1.10 × plain", blocks["ratio"]["median"], 1.1)
        plain = blocks["two threads"]["plain"]["median"]
        self.add("Decrypt2kBlock, real: two threads at most 1.05 × one",
                 blocks["two threads"]["pyquelt"]["median"], 1.05,
                 "handing over the GIL: plain code takes %.2f" % plain)

    def add_host(self):
        store = self.figures["store"]
        for part, limit, what in (
                ("read", 2.0, "A setting read: at most 2.00 × a bare prepared read"),
                ("write", 1.2, "A setting written: at most 1.20 × SQLite's own commit"),
                ("list", 1.5, "100,000 agents listed: at most 1.50 × the same rows read bare")):
            self.add(what, store[part]["ratio"], limit)
        imports = self.figures["import"]
        self.add("Import, host library included: at most 1.50 × an empty extension with the same"
                 " libraries (instructions)", imports["pyquelt"] / imports["empty"], 1.5)
