"""What scripts get when an interpreter call of the module fails: one file for each subject.

A row is (function, arguments, keyword arguments, answers of the host by operation, outcomes):
outcomes gives, for each interpreter call that can fail, the exception's type and text. Where the
outcome depends on the place of the call, a list gives it for each place in turn. A refused call
composes its message with PyUnicode_DecodeUTF8. The first row of a function is its way to success,
by as many operations as there are; other sweeps go that way too (see sweep.py).
"""

import importlib
import pkgutil

MEMORY = (MemoryError, "")


def runtime(text):
    return (RuntimeError, text)


def not_set(*keys):
    return [runtime("PyDict_SetItemString failed with key:" + key) for key in keys]


def keywords(outcome):
    """The outcome of a function with keywords when its arguments can't be parsed."""
    return {"PyDict_Copy": outcome, "PyArg_ParseTupleAndKeywords": outcome}


BAD_PARAMETERS = runtime("Failed to extract parameters")


def _lengthened(argument):
    """Texts of one letter become too long to be stored without an allocation."""
    if isinstance(argument, (list, tuple)):
        return type(argument)(_lengthened(item) for item in argument)
    return argument * 40 if isinstance(argument, str) and len(argument) == 1 else argument


def all_rows():
    rows = [row for _, name, _ in pkgutil.iter_modules(__path__)
            for row in importlib.import_module("fault_rows." + name).ROWS]
    return [(row[0], _lengthened(row[1])) + row[2:] for row in rows]
