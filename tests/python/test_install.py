"""What cmake --install puts into an empty prefix works from there: on the host library beside it,
or on the one from elsewhere that it was built on."""

import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest


BUILD = os.environ["PYQUELT_BUILD_DIR"]


def run_paths(folder):
    """(file, entry) for each entry of a run path in the programs and libraries below a folder.
    Build trees and virtual environments inside it are left out."""
    binaries = []
    for parent, folders, files in os.walk(folder):
        folders[:] = [name for name in folders if name != "CMakeFiles" and not any(
            os.path.exists(os.path.join(parent, name, mark))
            for mark in ("CMakeCache.txt", "pyvenv.cfg"))]
        binaries += [os.path.join(parent, name) for name in files
                     if name.endswith(".so") or os.access(os.path.join(parent, name), os.X_OK)]
    # -W: paths are not cut off. What is not ELF gets a message on standard error only.
    listing = subprocess.Popen(["readelf", "-W", "-d"] + binaries, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, universal_newlines=True).communicate()[0]
    file = None
    for line in listing.splitlines():
        if line.startswith("File: "):
            file = line[len("File: "):]
        found = re.search(r"\((?:RPATH|RUNPATH)\).*?\[(.*)\]$", line)
        for entry in found.group(1).split(":") if found else ():
            yield file, entry


class InstallTest(unittest.TestCase):

    def install(self):
        """An installed tree, removed after the test."""
        prefix = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, prefix)
        subprocess.check_output([os.environ["PYQUELT_CMAKE"], "--install", BUILD,
                                 "--prefix", prefix])
        return prefix

    def test_no_library_is_searched_in_the_working_directory(self):
        for folder in (BUILD, self.install()):
            entries = list(run_paths(folder))
            self.assertTrue(entries, folder)
            self.assertEqual([(file, entry) for file, entry in entries
                              if not re.match("/|[$]ORIGIN(/|$)", entry)], [])

    def test_installed_module_does_not_find_its_host_library(self):
        prefix = self.install()
        module, = glob.glob(os.path.join(prefix, "lib", "*", "*", "pyquelt.*.so"))
        environment = dict(os.environ, PYTHONPATH=os.path.dirname(module), HOME=prefix,
                           QUELT_HOST_STATE=os.path.join(prefix, "state", "host.db"))
        del environment["LD_LIBRARY_PATH"]
        output = subprocess.check_output(
            [sys.executable, "-c",
             "import pyquelt; pyquelt.SetIloAuth('a', 'b'); print(pyquelt.GetIloAuth())"],
            cwd=prefix, env=environment)
        self.assertEqual(output, b"('a', 'b')\n")
