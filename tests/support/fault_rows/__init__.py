"""The table of each function's exceptions, one file for each subject.

docs/reference.md is derived from it (by scripts/reference.py), and the tests cause each of its
exceptions. An exception is an Outcome: its type, its message and when it is raised. A subject has

- ROWS, for interpreter calls that fail: (function, arguments, keyword arguments, answers of the
  host by operation, outcomes). Outcomes maps each interpreter call that can fail to its exception,
  or to a list with the exception at each place of that call. A rejected call composes its message
  with PyUnicode_DecodeUTF8. The first row of a function is its success path, with all operations of
  the function; other tests use it too (see cases.py).
- HOST, for exceptions of the host library: the Rule of each function.
- FAILURES, for other failures: (function, arguments, answers of the host by operation, outcome).
  Arguments of None stand for those of the success path, a dict for keyword arguments after them.
- PARSER, for functions that leave the exception of the interpreter's argument parser unchanged: an
  Outcome with the types.
"""

import collections
import importlib
import pkgutil
import sys
import sysconfig

#: Whether the interpreter is a free-threaded build.
FREE_THREADED = bool(sysconfig.get_config_var("Py_GIL_DISABLED"))


class Outcome(tuple):
    """(type, text), with its message and its condition. Calling the outcome replaces the fields
    {name} of its message. A message of None is the interpreter's own."""

    def __new__(cls, kind, message, when, text=None):
        self = super(Outcome, cls).__new__(cls, (kind, message if text is None else text))
        self.kind, self.message, self.when = kind, message, when
        return self

    def __call__(self, **values):
        return Outcome(self.kind, self.message, self.when, self.message.format(**values))

    @property
    def row(self):
        """What identifies it in the table."""
        return self.kind, self.message, self.when


def runtime(message, when):
    return Outcome(RuntimeError, message, when)


def value(message, when):
    return Outcome(ValueError, message, when)


#: The exceptions of the host library that a function catches ("std": every std::exception, "ctl":
#: those of the library), the exception that it raises then, and the values in its message beside
#: {text}, the text of the caught exception.
Rule = collections.namedtuple("Rule", "catches outcome values")


def answers_all(when="", kind=ValueError):
    """The rule of most functions. `when` gives examples of failures."""
    return Rule("std", Outcome(kind, "{text}", "the host library fails" + when), {})


HOST_TEXT = answers_all().outcome


def answers_its_own(prefix, when="", **values):
    return Rule("ctl", runtime(prefix + "{text}", "the host library fails" + when), values)


# Exceptions of many functions, documented once.
MEMORY = Outcome(MemoryError, "", "out of memory, and the function has no row for that")
OTHER = runtime("{text}", "the host library throws a C++ exception for which the function has no "
                "row")
UNKNOWN = runtime("Unknown platform exception",
                  "the host library throws something that is not a standard C++ exception")
NOT_UTF8 = Outcome(UnicodeDecodeError, None,
                   "a text of the result is not UTF-8, and the function has no row for that")
NO_KEYWORDS = Outcome(TypeError, None,
                      "a keyword argument for a function whose signature has no keywords")
GENERAL = (MEMORY, OTHER, UNKNOWN, NOT_UTF8, NO_KEYWORDS)

#: The call that creates the key of a field, at the first use in the process.
KEY = "PyUnicode_FromStringAndSize"

# Exceptions of several functions.
NO_ITEM = "an item can't be created or set: out of memory, or a text that is not UTF-8"
ITEM = runtime("PyDict_SetItemString failed with key:{key}", NO_ITEM)
NO_PLUGIN = "The host library gave no cluster plug-in"
TWO_TEXTS = runtime("Failed to extract parameters", "the arguments are not two `str`")


#: Interpreter calls that depend on its version: how an item of a dictionary is found, and the items
#: of a list are read.
FIND_ITEM = "PyDict_GetItemRef" if sys.version_info >= (3, 13) else "PyDict_GetItemWithError"
READ_ITEMS = ("PyUnicode_AsUTF8AndSize",) + ("PyList_AsTuple",) * FREE_THREADED


def not_set(*keys):
    return [ITEM(key=key) for key in keys]


def keywords(outcome):
    """The outcome of a function with keywords when its arguments can't be parsed."""
    return {"PyDict_Copy": outcome, "PyArg_ParseTupleAndKeywords": outcome}


def _lengthened(argument):
    """Lengthens texts of one letter, so that storing them needs an allocation."""
    if isinstance(argument, (list, tuple)):
        return type(argument)(_lengthened(item) for item in argument)
    return argument * 40 if isinstance(argument, str) and len(argument) == 1 else argument


_SUBJECTS = [importlib.import_module("fault_rows." + name)
             for _, name, _ in pkgutil.iter_modules(__path__)]


def all_rows():
    return [(row[0], _lengthened(row[1])) + row[2:] for each in _SUBJECTS for row in each.ROWS]


FAILURES = [row for each in _SUBJECTS for row in each.FAILURES]
HOST = {name: rule for each in _SUBJECTS for name, rule in each.HOST.items()}
PARSER = {name: outcome for each in _SUBJECTS
          for name, outcome in getattr(each, "PARSER", {}).items()}


def documented(function):
    """The exceptions of one function, without the general ones, as a list of Outcomes: those about
    arguments, about the host library, about the result."""
    parsing, building = [], []
    for outcomes in (row[4] for row in all_rows() if row[0] == function):
        for call in sorted(outcomes, key=lambda each: (not each.endswith("_New"), each)):
            outcome = outcomes[call]
            outcome = outcome if isinstance(outcome, list) else [outcome]
            (parsing if call.startswith("PyArg_") else building).extend(outcome)
    outcomes = parsing + [PARSER.get(function)]
    outcomes += [row[3] for row in FAILURES if row[0] == function]
    outcomes += [HOST[function].outcome if function in HOST else None] + building
    found = collections.OrderedDict((outcome.row, outcome) for outcome in outcomes if outcome)
    return [found[row] for row in found if row not in {each.row for each in GENERAL}]
