"""The includes of the sources follow the layers that docs/architecture.md describes."""

import glob
import os
import re
import unittest

TOP = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
SUBJECTS = ("config_store", "crypto", "unicast", "network", "objects")
# The embedded host's layers, lowest first. A folder includes itself and the layers below it.
LAYERS = (("text",), ("store",), ("operation", "document"), SUBJECTS, ("scenario",), ("tool",))
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<][^">]+)', re.MULTILINE)
PYTHON = ("<Python.h", "<structmember.h", "<frameobject.h")


def allowed_includes():
    """The beginnings of the allowed project includes of each source folder."""
    allowed = {"platform": ('"platform/',), "module": ('"platform/', '"module/')}
    for subject in SUBJECTS:
        allowed[subject] = allowed["module"] + ('"%s/' % subject,)
    lower = ('"platform/',)
    for layer in LAYERS:
        own = ['"embedded_host/%s/' % folder for folder in layer]
        for folder, include in zip(layer, own):
            # The generated files have no folder.
            allowed["embedded_host/" + folder] = lower + (
                include, '"default_scenario.inc', '"function_operations.inc', '"page_style.inc')
        lower += tuple(own)
    return allowed


def includes(folder):
    """The pairs of file and include below a folder."""
    for file in glob.glob(os.path.join(TOP, folder, "**", "*.*"), recursive=True):
        with open(file, encoding="utf-8") as source:
            for include in INCLUDE.findall(source.read() if file.endswith((".h", ".cpp")) else ""):
                yield os.path.relpath(file, TOP), include


class IncludesTest(unittest.TestCase):

    def test_folders_include_only_what_their_layer_may(self):
        wrong = []
        for folder, starts in allowed_includes().items():
            for file, include in includes(folder):
                if file == "module/registration.cpp":
                    starts += tuple('"%s/functions.h' % subject for subject in SUBJECTS)
                if include.startswith('"') and not include.startswith(starts) or (
                        folder.startswith(("embedded_host", "platform")) and include in PYTHON):
                    wrong.append((file, include))
        self.assertEqual(wrong, [])

    def test_every_folder_of_the_embedded_host_has_a_layer(self):
        folders = {os.path.dirname(file) for file, _ in includes("embedded_host")}
        subfolders = {"embedded_host/crypto/kms"}
        self.assertEqual(folders - subfolders, {
            "embedded_host/" + folder for layer in LAYERS for folder in layer})
