"""CMake rejects unsupported platforms, and what it installs works from an empty prefix, with the
installed host library or an external one that the build used."""

import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest


BUILD = os.environ["PYQUELT_BUILD_DIR"]
SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def run_paths(folder):
    """Yields (file, entry) for each run path entry of the programs and libraries below a folder.
    Nested build trees and virtual environments are skipped."""
    binaries = []
    for parent, folders, files in os.walk(folder):
        folders[:] = [name for name in folders if name != "CMakeFiles" and not any(
            os.path.exists(os.path.join(parent, name, mark))
            for mark in ("CMakeCache.txt", "pyvenv.cfg"))]
        binaries += [os.path.join(parent, name) for name in files
                     if name.endswith(".so") or os.access(os.path.join(parent, name), os.X_OK)]
    # -W: don't truncate paths. For other files than ELF, readelf only writes to standard error.
    listing = subprocess.Popen(["readelf", "-W", "-d"] + binaries, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, universal_newlines=True).communicate()[0]
    file = None
    for line in listing.splitlines():
        if line.startswith("File: "):
            file = line[len("File: "):]
        found = re.search(r"\((?:RPATH|RUNPATH)\).*?\[(.*)\]$", line)
        for entry in found.group(1).split(":") if found else ():
            yield file, entry


class ConfigurationTest(unittest.TestCase):

    def test_unsupported_platform_is_rejected(self):
        folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, folder)
        detected = os.path.join(folder, "detected.cmake")  # runs after the compiler is examined
        for variable, value, named in (
                ("CMAKE_SIZEOF_VOID_P", "4", "32-bit LITTLE_ENDIAN Linux"),
                ("CMAKE_CXX_BYTE_ORDER", "BIG_ENDIAN", "64-bit BIG_ENDIAN Linux"),
                ("CMAKE_SYSTEM_NAME", "FreeBSD", "64-bit LITTLE_ENDIAN FreeBSD")):
            with open(detected, "w") as file:
                file.write("set(%s %s)\n" % (variable, value))
            cmake = subprocess.Popen(
                [os.environ["PYQUELT_CMAKE"], "-S", SOURCE, "-B", folder,
                 "-DCMAKE_PROJECT_pyquelt_INCLUDE=" + detected],
                stdout=subprocess.PIPE, stderr=subprocess.PIPE, universal_newlines=True)
            error = " ".join(cmake.communicate()[1].split())
            self.assertNotEqual(cmake.returncode, 0, variable)
            self.assertIn("pyquelt needs 64-bit, little-endian Linux; the compiler is for " + named,
                          error)


class InstallTest(unittest.TestCase):

    def install(self):
        """Installs into a temporary prefix, removed after the test, and returns it."""
        prefix = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, prefix)
        subprocess.check_output([os.environ["PYQUELT_CMAKE"], "--install", BUILD,
                                 "--prefix", prefix])
        return prefix

    def test_run_paths_never_include_the_working_directory(self):
        for folder in (BUILD, self.install()):
            entries = list(run_paths(folder))
            self.assertTrue(entries, folder)
            self.assertEqual([(file, entry) for file, entry in entries
                              if not re.match("/|[$]ORIGIN(/|$)", entry)], [])

    def test_installed_module_finds_its_host_library(self):
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
