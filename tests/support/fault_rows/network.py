"""Storage network interfaces."""

from fault_rows import KEY, answers_all, runtime

NULL = runtime("zelDict is null!", "the dictionary of an interface can't be created: out of "
               "memory, or a text that is not UTF-8")
NAME = runtime("PyUnicode_FromStringAndSize failed!",
               "a name can't be created: out of memory, or a name that is not UTF-8")
_APPEND = runtime("PyList_Append failed!", "an item can't be appended to the list")
_LIST = runtime("PyList_New failed!", "the list can't be created")
_INTERFACE = {"GetZelnicName": "zel0", "GetIfaceUuid": "uuid", "GetTrafficType": "all",
              "GetAgentMulticastPort": 1000}

ROWS = [
    ("GetQueltNetworkInfo", (), {}, {"GetZelNicConfigs": {"out": {"interfaces": [_INTERFACE] * 2}}},
     {"PyList_New": _LIST, "PyUnicode_FromString": NULL, "PyLong_FromLong": NULL,
      "PyDict_New": NULL, KEY: NULL, "PyDict_SetItem": NULL, "PyList_Append": _APPEND}),
    ("GetQueltZelnicNames", (), {},
     {"GetZelNicConfigs": {"out": {"interfaces": [_INTERFACE] * 2}}},
     {"PyList_New": _LIST, "PyUnicode_FromStringAndSize": NAME, "PyList_Append": _APPEND}),
]

FAILURES = []

HOST = {row[0]: answers_all(kind=RuntimeError) for row in ROWS}
