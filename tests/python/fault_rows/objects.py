"""Objects, disks and host facts."""

from fault_rows import MEMORY, keywords, not_set, runtime

_UUID = "00112233-4455-6677-8899-aabbccddeeff"
_REFUSED = {"returns": 0x0BAD0003}
_EXT_ATTRS = {
    "ObjLib_GetURIPrefix": {"out": {"prefix": "q://"}},
    "ObjLib_GetExtParams": {"out": {"objClass": 1000}},
    "DDBGet": {"out": {"quelt.FriendlyName": "name", "quelt.objPath": "/path"}},
}
_BAD_LIST = runtime("Unable to parse object uuids")
_BAD_FACT = runtime("PyDict_SetItemString InfoMap failed!")
_BAD_DISK = runtime("PyDict_SetItemString result failed!")
_BAD_FIGURE = runtime("PyDict_SetItemString failed!")
_NO_RESULT = runtime("PyDict_New result failed!")

_UNREADABLE = dict(keywords(MEMORY), PyUnicode_FromFormat=MEMORY)

_DISKS = [["disk+", [["fact", 1000], ["other", 2000]]], ["next", [["fact", 3000]]]]


ROWS = [
    ("CreateObject", (), {}, {},
     dict(keywords(MEMORY), PyUnicode_FromString=MEMORY)),
    ("CreateObject", (), {"groupUuid": _UUID}, {"ObjUtil_Create": _REFUSED},
     dict(keywords(MEMORY), PyUnicode_DecodeUTF8=MEMORY)),
    ("DeleteObject", (_UUID,), {}, {}, keywords(MEMORY)),
    ("DeleteObject", ("x",), {}, {}, _UNREADABLE),
    ("DeleteObject", (_UUID,), {"cid": _UUID}, {}, _UNREADABLE),
    ("CreateObject", (), {"groupUuid": "x"}, {},
     dict(keywords(MEMORY), PyUnicode_DecodeUTF8=MEMORY)),
    ("DeleteObject", (_UUID,), {"force": True}, {"ObjUtil_Delete": _REFUSED},
     dict(keywords(MEMORY), PyUnicode_DecodeUTF8=MEMORY)),
    ("GetObjectExtAttrs", ([_UUID, _UUID + "+"],), {}, _EXT_ATTRS,
     {"PyArg_ParseTuple": _BAD_LIST, "PyUnicode_AsUTF8AndSize": _BAD_LIST,
      "PyDict_New": runtime("PyDict_New failed!"),
      "Py_BuildValue": not_set("ufn", "objPath", "objClass") * 2,
      "PyDict_SetItemString": not_set("ufn", "objPath", "objClass") * 2,
      "PyUnicode_FromString": not_set(_UUID, _UUID + "+"),
      "PyDict_SetItem": not_set(_UUID, _UUID + "+")}),
    ("GetOqtaCappedMaxDiskVersion", (), {}, {}, {"Py_BuildValue": MEMORY}),
    ("UpgradeFormatVersionForDiskGroup", ("g",), {}, {},
     {"PyArg_ParseTuple": runtime("Unable to parse diskName")}),
    ("GetT1DiskInfo", (), {},
     {"GetT1DiskInfoMap": {"out": {"disks": _DISKS}}},
     {"PyDict_New": [_NO_RESULT] + [runtime("PyDict_New infoMap failed!")] * 2,
      "PyLong_FromLong": _BAD_FACT, "PyDict_SetItemString": _BAD_FACT,
      "PyUnicode_FromString": _BAD_DISK, "PyDict_SetItem": _BAD_DISK}),
    ("GetT1DiskInfo", (), {},
     {"GetT1DiskInfoMap": {"throws": {"type": "QueltCtlException", "text": "no"}}},
     {"PyDict_New": _NO_RESULT, "PyUnicode_DecodeUTF8": MEMORY}),
    ("GetHostInfo", (), {},
     {"GetCapacityAndFSOverheadFromNorim": {"out": {"physicalUsed": 2 ** 40}}},
     {"PyDict_New": _NO_RESULT, "PyLong_FromUnsignedLongLong": _BAD_FIGURE,
      "PyDict_SetItemString": _BAD_FIGURE}),
]
