"""The module's performance goals. Each compares figures of one run, and states a measurement as the
reason if it is not met."""

import scaling

NOISE = 0.01  # two equal measurements differ by this in one run
PEERS = ("plain", "pybind11", "nanobind", "cython", "cffi", "ctypes")
# The limit of each call, relative to its fastest peer.
LIMITS = (("GetHardwareSku", 1.0), ("SetIloAuth", 1.0), ("CheckKmsStatus", 1.0),
          ("Decrypt2kBlock", 1.0), ("GetUnicastAgents, 1,000", 1.0),
          ("GetUnicastAgents, 100,000", 0.85))


class Goals:
    """The goals for one run's figures: a list of (goal, figure, "met" or "not met", reason)."""

    def __init__(self, figures):
        self.figures = figures
        self.list = []
        self.add_calls()
        self.add_listing()
        self.add_blocks()
        self.add_scaling()
        self.add_host()

    def add(self, goal, figure, limit, reason=""):
        met = figure <= limit * (1 + NOISE)
        self.list.append((goal, "%.2f" % figure, "met" if met else "not met",
                          "" if met else reason))

    def add_calls(self):
        rows = {row["name"]: row["bindings"] for row in self.figures["bindings"]}
        for row, limit in LIMITS:
            present = [peer for peer in PEERS if peer in rows[row]]
            fastest = min(present, key=lambda peer: rows[row][peer]["median"])
            self.add("%s: at most %.2f × the fastest peer (%s)" % (row, limit, fastest),
                     rows[row][fastest]["module_ratio"]["median"], limit,
                     self.instructions(row, fastest))

    def instructions(self, row, peer):
        """Returns the comparison that other load on the machine doesn't change."""
        counts = self.figures["counts"].get(row)
        return "the module takes {:,.0f} instructions, {} {:,.0f}".format(
            counts["pyquelt"], peer, counts[peer]) if counts else ""

    def add_listing(self):
        memory = self.figures["memory"]
        self.add("GetUnicastAgents, 100,000: at most 1.02 × the peak memory of plain",
                 memory["pyquelt"] / memory["plain_peer"], 1.02)
        growth = {name: self.growth_of(name) for name in ("pyquelt", "plain", "raw C++")}
        self.add("GetUnicastAgents: an agent among 1,000,000 costs at most %.2f × one among 1,000, "
                 "as with plain" % growth["plain"], growth["pyquelt"], growth["plain"],
                 "the native records alone, in C++, grow by %.2f" % growth["raw C++"])

    def growth_of(self, name):
        """Returns the time per agent in a list of 1,000,000, relative to a list of 1,000."""
        seconds = {point["agents"]: point["seconds"][name] / point["agents"]
                   for point in self.figures["growth"]}
        return seconds[1000000] / seconds[1000]

    def add_blocks(self):
        blocks = self.figures["blocks"]
        self.add("Decrypt2kBlock with real cryptography: at most 1.00 × plain",
                 blocks["ratio"]["median"], 1.0,
                 "OpenSSL alone takes %.2f of the time of plain" % (
                     blocks["calls"]["raw OpenSSL"]["median"] / blocks["calls"]["plain"]["median"]))
        self.add("Decrypt2kBlock with real cryptography, two threads: at most 1.00 × plain",
                 blocks["two threads"]["median"], 1.0,
                 "half of the rounds were between %.2f and %.2f" % (
                     blocks["two threads"]["low"], blocks["two threads"]["high"]))

    def add_scaling(self):
        for build, share in scaling.gains(self.figures["scaling"]):
            self.list.append(("Decrypt2kBlock on CPython %s: at least 0.90 of the gain that C++ has"
                              " from a second thread" % build, "%.2f" % share,
                              "met" if share >= 0.9 * (1 - NOISE) else "not met", ""))

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
