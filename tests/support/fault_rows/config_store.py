"""Configuration-store settings."""

from fault_rows import MEMORY, NO_ITEM, NOT_UTF8, Outcome, TWO_TEXTS, answers_all, runtime, value

NOT_SET = runtime("PyDict_SetItemString failed!", NO_ITEM)
_NOT_TWO_TEXTS = value("Invalid argument", TWO_TEXTS.when)

_NO_TUPLE = runtime("PyTuple_New failed!", "the tuple can't be created")
_UNDECODABLE = Outcome(*NOT_UTF8.row, text="'utf-8' codec can't decode byte 0xff in position 0: "
                       "invalid start byte")

ROWS = [
    ("GetHardwareSku", (), {}, {"GetHardwareSku": {"out": {"sku": "QS-1"}}},
     {"PyUnicode_FromString": MEMORY}),
    ("GetHardwareSku", (), {}, {"GetHardwareSku": {"returns": False}},
     {"PyUnicode_DecodeUTF8": MEMORY}),
    ("SetIloAuth", ("a", "b"), {}, {}, {"PyArg_ParseTuple": TWO_TEXTS}),
    ("GetIloAuth", (), {}, {"GetIloAuth": {"out": {"first": "user", "second": "word"}}},
     {"PyTuple_New": _NO_TUPLE, "PyUnicode_FromString": MEMORY,
      "PyTuple_SetItem": runtime("PyTuple_SetItem failed!", "a text can't be stored in it")}),
    # The second text is converted and stored in any case; the first error is raised.
    ("GetIloAuth", (), {}, {"GetIloAuth": {"out": {"first": b"\xff", "second": "word"}}},
     {"PyTuple_New": _NO_TUPLE, "PyUnicode_FromString": [MEMORY, _UNDECODABLE],
      "PyTuple_SetItem": _UNDECODABLE}),
    ("SetPerfsvcHostConfigStore", ("a", "b"), {}, {}, {"PyArg_ParseTuple": _NOT_TWO_TEXTS}),
    ("GetPerfsvcHostConfigStore", (), {},
     {"GetPerfsvcHostConfigStore": {"out": {"config": [["one", "two"], ["three+", "four+"]]}}},
     {"PyDict_New": runtime("PyDict_New failed!", "the dictionary can't be created"),
      "PyUnicode_FromString": NOT_SET, "PyDict_SetItem": NOT_SET}),
    ("SetClusterTimeMachineConfigStore", ("a", "b"), {}, {},
     {"PyArg_ParseTuple": _NOT_TWO_TEXTS}),
]

FAILURES = [(name, None, {name: {"returns": False}}, value(message, when))
            for name, message, when in (
    ("GetHardwareSku", "Failed to get hardware sku from config store", "the store returns false"),
    ("SetIloAuth", "Failed to set iLO credential.", "the store returns false"),
    ("GetIloAuth", "Failed to get iLO credential", "the store returns false, or none was set"),
    ("SetPerfsvcHostConfigStore", "Failed to set perfsvc host config", "the store returns false"),
    ("GetPerfsvcHostConfigStore", "Failed to get perfsvc host config", "the store returns false"),
    ("SetClusterTimeMachineConfigStore", "Failed to set norim time machine configurations",
     "the store returns false"))]

HOST = {row[0]: answers_all() for row in ROWS}
HOST["SetPerfsvcHostConfigStore"] = answers_all(
    "; if it fails while it synchronises its configuration, the pair is stored nevertheless")
