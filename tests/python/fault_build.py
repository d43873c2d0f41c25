"""The build of the module in which calls and allocations fail on demand (tests/fault_sweep)."""

import ctypes
import importlib.util
import os
import sysconfig

import scripted  # noqa: F401 (its host library comes first)

BUILD = os.environ["PYQUELT_BUILD_DIR"]
FILE = "pyquelt" + sysconfig.get_config_var("EXT_SUFFIX")
_PATH = os.path.join(BUILD, "fault_sweep", FILE)


def import_test_build():
    """A new module object of the test build."""
    spec = importlib.util.spec_from_file_location("pyquelt", _PATH)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


module = import_test_build()
faults = ctypes.PyDLL(_PATH)
faults.fault_sweep_call.argtypes = [ctypes.c_int, ctypes.c_long, ctypes.c_int] + (
    [ctypes.py_object] * 3)
faults.fault_sweep_call.restype = ctypes.py_object
faults.fault_sweep_unwind.argtypes = [ctypes.py_object] * 3
faults.fault_sweep_failed.restype = ctypes.c_char_p
