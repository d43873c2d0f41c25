"""What cmake --install puts into an empty prefix works from there: on the host library beside it,
or on the one from elsewhere that it was built on."""

import glob
import os
import shutil
import subprocess
import sys
import tempfile
import unittest


class InstallTest(unittest.TestCase):

    def test_installed_module_does_not_find_its_host_library(self):
        prefix = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, prefix)
        subprocess.check_output([os.environ["PYQUELT_CMAKE"], "--install",
                                 os.environ["PYQUELT_BUILD_DIR"], "--prefix", prefix])
        module, = glob.glob(os.path.join(prefix, "lib", "*", "*", "pyquelt.*.so"))
        environment = dict(os.environ, PYTHONPATH=os.path.dirname(module), HOME=prefix,
                           QUELT_HOST_STATE=os.path.join(prefix, "state", "host.db"))
        del environment["LD_LIBRARY_PATH"]
        output = subprocess.check_output(
            [sys.executable, "-c",
             "import pyquelt; pyquelt.SetIloAuth('a', 'b'); print(pyquelt.GetIloAuth())"],
            cwd=prefix, env=environment)
        self.assertEqual(output, b"('a', 'b')\n")
