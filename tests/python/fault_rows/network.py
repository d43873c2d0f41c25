"""Storage network interfaces."""

from fault_rows import runtime

_NULL = runtime("zelDict is null!")
_APPEND = runtime("PyList_Append failed!")
_LIST = runtime("PyList_New failed!")
_INTERFACE = {"GetZelnicName": "zel0", "GetIfaceUuid": "uuid", "GetTrafficType": "all",
              "GetAgentMulticastPort": 1000}

ROWS = [
    ("GetQueltNetworkInfo", (), {}, {"GetZelNicConfigs": {"out": {"interfaces": [_INTERFACE] * 2}}},
     {"PyList_New": _LIST, "Py_BuildValue": _NULL, "PyLong_FromLong": _NULL, "PyDict_New": _NULL,
      "PyDict_SetItemString": _NULL, "PyList_Append": _APPEND}),
    ("GetQueltZelnicNames", (), {},
     {"GetZelNicConfigs": {"out": {"interfaces": [_INTERFACE] * 2}}},
     {"PyList_New": _LIST, "PyUnicode_FromStringAndSize":
      runtime("PyUnicode_FromStringAndSize failed!"), "PyList_Append": _APPEND}),
]
