"""The state of the embedded host: where it lives, and what its library shows to the linker."""

import os
import subprocess
import unittest

import pyquelt
import hosts


class StateTest(hosts.HostTestCase):

    def test_setting_is_lost_between_processes_or_survives_a_reset(self):
        pyquelt.SetIloAuth("root", u"gr\u00fc\u00df")
        self.assertEqual(self.script("import pyquelt; print(ascii(pyquelt.GetIloAuth()))"),
                         ascii(("root", u"gr\u00fc\u00df")) + "\n")
        self.tool("reset")
        self.assert_raises_exactly(ValueError, "Failed to get iLO credential", pyquelt.GetIloAuth)


class LibraryTest(unittest.TestCase):

    def test_library_exports_more_than_the_platform(self):
        listing = subprocess.check_output(
            ["nm", "-DC", "--defined-only", os.environ["PYQUELT_EMBEDDED_HOST"]]).decode()
        names = [line.split(" ", 2)[2] for line in listing.splitlines()]
        ours = ("HostCtl::", "ZelCtl::", "ObjLib_", "ObjUtil_", "DDBGet", "vtable for HostCtl::",
                "typeinfo for HostCtl::", "typeinfo name for HostCtl::")
        self.assertEqual([name for name in names if not name.startswith(ours)], [])
        self.assertIn("vtable for HostCtl::Lib::Quelt::QueltCtlException", names)


if __name__ == "__main__":
    unittest.main()
