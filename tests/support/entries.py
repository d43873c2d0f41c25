"""The two entries of a function without keywords: from 3.8 on, the interpreter passes an array of
arguments, otherwise a tuple (module/function_entries.h).

PYQUELT_ENTRY ("array", "tuple") makes a test file use one of them, on every version; "any" leaves
the choice to the interpreter.
"""

import functools
import inspect
import operator
import os
import sys

_ENTRIES = {"array": functools.partial, "tuple": operator.attrgetter("__call__")}
_selected = _ENTRIES.get(os.environ.get("PYQUELT_ENTRY"))
HAS_ARRAY = sys.version_info >= (3, 8)
#: Whether the tests use the array entry.
USES_ARRAY = HAS_ARRAY and _selected == functools.partial


def select(module):
    """Replaces the module's functions by callables that use the selected entry."""
    for name, value in list(vars(module).items()):
        if _selected and inspect.isbuiltin(value):
            setattr(module, name, _selected(value))
    return module


def both(function):
    """Callables that use the function's array entry (up to 3.7 its tuple entry) and tuple entry."""
    return [entry(function) for entry in _ENTRIES.values()]
