"""quelt_testing: what the author of a script's tests relies on."""

import os
import sys
import unittest

import hosts
import quelt_testing

PYTEST_FILE = """
import pyquelt, pytest

@pytest.fixture
def quelt_scenario():
    return {"hardwareSku": "mine"}

def test_one(quelt_host):
    assert pyquelt.GetHardwareSku() == "mine"
    pyquelt.SetIloAuth("a", "b")
    quelt_host.fail("GetHardwareSku", refuse=True)

def test_other(quelt_host):
    assert pyquelt.GetHardwareSku() == "mine"
    with pytest.raises(ValueError):
        pyquelt.GetIloAuth()
    assert [each["message"] for each in quelt_host.journal("GetIloAuth")] == ["false"]
"""


# Forks within a host and after it; the children end with and without their exit functions.
FORKS = """
import os, quelt_testing
def child(end):
    if os.fork() == 0:
        with quelt_testing.Host({"hardwareSku": "child's"}) as mine:
            assert mine.dump()["hardwareSku"] == "child's"
            print(mine.state, flush=True)
        end(0)
    assert os.wait()[1] == 0
    assert host.dump()["hardwareSku"] == "parent's"
with quelt_testing.Host({"hardwareSku": "parent's"}) as host:
    child(os._exit)
child(exit)
print(host.state)
"""


class HostTest(unittest.TestCase):

    def test_host_begins_with_something_of_the_one_before(self):
        import pyquelt
        path = hosts.write("scenario.json", '{"hardwareSku": "from the file"}')
        for scenario, sku in (({"hardwareSku": u"gr\u00fc\u00df"}, u"gr\u00fc\u00df"),
                              (path, "from the file"), (None, "QS-2240-AF")):
            with quelt_testing.Host(scenario) as host:
                self.assertEqual(host.journal(), [])
                self.assertEqual(pyquelt.GetHardwareSku(), sku)
                self.assertEqual(host.dump()["hardwareSku"], sku)
                host.fail("GetHardwareSku", throw="--odd=", after=1, times=2, delay=0)
                self.assertEqual(
                    [hosts.outcome(pyquelt.GetHardwareSku) for _ in range(4)],
                    [sku, (ValueError, "--odd="), (ValueError, "--odd="), sku])
                self.assertEqual([each["outcome"] for each in host.journal("GetHardwareSku")],
                                 ["answered", "answered", "threw", "threw", "answered"])
                host.fail("GetHardwareSku", throw="", times=1)
                self.assertEqual(hosts.outcome(pyquelt.GetHardwareSku), (ValueError, ""))
                pyquelt.SetKekId(u"two\u2028lines\u0085")
                self.assertEqual(list(host.journal("PersistKekId")[0]["arguments"].values()),
                                 [u"two\u2028lines\u0085"])
                host.clear_journal()
                self.assertEqual(host.journal(), [])
                host.fail("SetIloAuth", throw_standard="x")
                with self.assertRaises(RuntimeError):
                    quelt_testing.Host().__enter__()

    def test_failure_of_the_tool_is_hidden(self):
        with quelt_testing.Host() as host:
            for call, text in ((lambda: host.fail("Nothing"), "No platform operation is called"),
                               (lambda: host.load({"no": 1}), "/no: expected one of these keys")):
                with self.assertRaisesRegex(quelt_testing.ToolError, text):
                    call()
            self.assertEqual(host.run_python("-c", "import sys; sys.exit(input())", input="bye"),
                             (1, "", "bye\n"))

    def test_call_on_another_host_goes_unnoticed(self):
        result = hosts.run_python(
            "import pyquelt, quelt_testing\npyquelt.GetHardwareSku()\n"
            "try:\n  quelt_testing.Host().__enter__()\nexcept RuntimeError as e: print(e)",
            state=os.path.join(hosts.FOLDER, "elsewhere.db"))
        self.assertEqual(result.err, "")
        self.assertIn("pyquelt was called in this process before", result.out)

    def test_forked_process_shares_the_host_or_a_folder_stays_behind(self):
        result = hosts.run_python(FORKS)
        self.assertEqual((result.code, result.err), (0, ""))
        for path in result.out.split():
            self.assertFalse(os.path.exists(os.path.dirname(path)))

    def test_text_of_a_fault_is_refused_in_a_plain_locale(self):
        result = hosts.run_python(
            "import quelt_testing\nwith quelt_testing.Host() as host:\n"
            "  host.fail('GetHardwareSku', throw='gr\\xfc\\xdf')\n"
            "  print(ascii(host.tool('faults')))",
            env={"LC_ALL": "C", "PYTHONUTF8": "0", "PYTHONCOERCECLOCALE": "0"})
        self.assertEqual((result.out.strip(), result.err),
                         (ascii(u'GetHardwareSku: throw "gr\xfc\xdf"\n'), ""))

    def test_fixture_differs_from_the_context_manager(self):
        if hosts.run([sys.executable, "-c", "import pytest"]).code != 0:
            self.skipTest("there is no pytest")
        folder = os.path.join(hosts.FOLDER, "suite")
        os.mkdir(folder)
        hosts.write("suite/conftest.py", 'pytest_plugins = "quelt_testing"\n')
        hosts.write("suite/test_it.py", PYTEST_FILE)
        result = hosts.run([sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider"],
                           cwd=folder)
        self.assertIn("2 passed", result.out, result.out + result.err)
