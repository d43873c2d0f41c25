"""Configuration-store settings."""

from fault_rows import BAD_PARAMETERS, MEMORY, runtime

ROWS = [
    ("GetHardwareSku", (), {}, {"GetHardwareSku": {"out": {"sku": "QS-1"}}},
     {"PyUnicode_FromString": MEMORY}),
    ("GetHardwareSku", (), {}, {"GetHardwareSku": {"returns": False}},
     {"PyUnicode_DecodeUTF8": MEMORY}),
    ("SetIloAuth", ("a", "b"), {}, {}, {"PyArg_ParseTuple": BAD_PARAMETERS}),
    ("GetIloAuth", (), {}, {"GetIloAuth": {"out": {"first": "user", "second": "word"}}},
     {"PyTuple_New": runtime("PyTuple_New failed!"), "PyUnicode_FromString": MEMORY,
      "PyTuple_SetItem": runtime("PyTuple_SetItem failed!")}),
    ("SetPerfsvcHostConfigStore", ("a", "b"), {}, {},
     {"PyArg_ParseTuple": (ValueError, "Invalid argument")}),
    ("GetPerfsvcHostConfigStore", (), {},
     {"GetPerfsvcHostConfigStore": {"out": {"config": [["one", "two"], ["three+", "four+"]]}}},
     {"PyDict_New": runtime("PyDict_New failed!"),
      "PyUnicode_FromString": runtime("PyDict_SetItemString failed!"),
      "PyDict_SetItem": runtime("PyDict_SetItemString failed!")}),
    ("SetClusterTimeMachineConfigStore", ("a", "b"), {}, {},
     {"PyArg_ParseTuple": (ValueError, "Invalid argument")}),
]
