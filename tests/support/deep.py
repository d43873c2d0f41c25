"""Tests with a long form: PYQUELT_DEEP=1 asks for the full numbers, as ./run deep does.

A test file that imports this module is a stage of ./run deep, by its own name.
"""

import os

DEEP = os.environ.get("PYQUELT_DEEP", "") not in ("", "0")


def full(number, otherwise):
    """The full `number` in the long form, the short one otherwise."""
    return number if DEEP else otherwise


def figure(text, *args):
    """Prints the extent of a long form, for docs/reliability.md; ./run deep collects the lines."""
    if DEEP:
        print("figure: " + text.format(*args), flush=True)
