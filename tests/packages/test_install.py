"""CMake rejects unsupported platforms, and what it installs works from an empty prefix, with the
installed host library or an external one that the build used."""

import glob
import os
import re
import subprocess
import sys

import hosts

BUILD = os.environ["PYQUELT_BUILD_DIR"]
SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def run_paths(folder):
    """The run path entries of the programs and libraries of a build tree or an installation."""
    binaries = [file for part in ("bin", "lib", "python", "installed", "fault_injection")
                for file in glob.glob(os.path.join(folder, part, "**", "*"), recursive=True)
                if os.path.isfile(file) and (file.endswith(".so") or os.access(file, os.X_OK))]
    # -W: don't truncate paths. For other files than ELF, readelf only writes to standard error.
    listing = subprocess.Popen(["readelf", "-W", "-d"] + binaries, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, universal_newlines=True).communicate()[0]
    found = re.findall(r"\((?:RPATH|RUNPATH)\).*?\[(.*)\]$", listing, re.M)
    return [entry for path in found for entry in path.split(":")]


class InstallTest(hosts.HostTestCase):

    def configuration_error(self, option):
        result = hosts.run([os.environ["PYQUELT_CMAKE"], "-S", SOURCE, "-B", self.fresh_folder(),
                            option])
        self.assertNotEqual(result.code, 0, option)
        return " ".join(result.err.split())

    def test_unsupported_interpreter_is_rejected(self):
        self.assertIn("pyquelt needs CPython 3.5 or newer with its headers (Debian: python3-dev); "
                      "set Python3_EXECUTABLE to such an interpreter.",
                      self.configuration_error("-DPython3_EXECUTABLE=/bin/false"))

    def test_unsupported_platform_is_rejected(self):
        # Runs after the compiler is examined.
        detected = os.path.join(self.fresh_folder(), "detected.cmake")
        for variable, value, named in (
                ("CMAKE_SIZEOF_VOID_P", "4", "32-bit LITTLE_ENDIAN Linux"),
                ("CMAKE_CXX_BYTE_ORDER", "BIG_ENDIAN", "64-bit BIG_ENDIAN Linux"),
                ("CMAKE_SYSTEM_NAME", "FreeBSD", "64-bit LITTLE_ENDIAN FreeBSD")):
            with open(detected, "w") as file:
                file.write("set(%s %s)\n" % (variable, value))
            error = self.configuration_error("-DCMAKE_PROJECT_pyquelt_INCLUDE=" + detected)
            self.assertIn("pyquelt needs 64-bit, little-endian Linux; the compiler is for " + named,
                          error)

    def install(self):
        """Installs into an empty prefix and returns it."""
        prefix = self.fresh_folder()
        subprocess.check_output([os.environ["PYQUELT_CMAKE"], "--install", BUILD,
                                 "--prefix", prefix])
        return prefix

    def test_run_paths_never_include_the_working_directory(self):
        for folder in (BUILD, self.install()):
            entries = run_paths(folder)
            self.assertTrue(entries, folder)
            self.assertEqual([entry for entry in entries
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
