"""Objects, disks and host facts."""

from fault_rows import (KEY, MEMORY, NO_ITEM, READ_ITEMS, Outcome, Rule, answers_all,
                        answers_its_own, keywords, not_set, runtime, value)

_UUID = "00112233-4455-6677-8899-aabbccddeeff"
_REFUSED = {"returns": 0x0BAD0003}
_EXT_ATTRS = {
    "ObjLib_GetURIPrefix": {"returns": "q://"},
    "IsObjectAccessible": {"out": {"accessible": 1}},
    "ObjLib_GetExtParams": {"out": {"objClass": 1000}},
    "DDBGet": {"out": {"quelt.FriendlyName": "name", "quelt.objPath": "/path"}},
}
NOT_TEXTS = runtime("Unable to parse object uuids",
                    "the argument is not one `list`, or an item is not a `str`")
NO_TEXTS = runtime("object uuids parameter is required", "the list is empty")
FACT = runtime("PyDict_SetItemString InfoMap failed!",
               "a fact can't be set: out of memory, or a name that is not UTF-8")
DISK = runtime("PyDict_SetItemString result failed!",
               "a disk can't be set: out of memory, or a name that is not UTF-8")
_FIGURE = runtime("PyDict_SetItemString failed!", NO_ITEM.split(",")[0])
_NO_RESULT = runtime("PyDict_New result failed!", "the dictionary can't be created")
_NO_FACTS = runtime("PyDict_New infoMap failed!", "the dictionary of a disk can't be created")

_NOT_A_CID = "the text is not a cid"
GROUP = value("could not parse groupUuid", "the text is not an identifier")
NEW_CID = value("could not parse cid", _NOT_A_CID)
UUID = value("could not parse uuid: {uuid}", "the text is not an identifier")
CID = value("could not parse cid: {cid}", _NOT_A_CID)
STATUS = runtime("{status}", "the object library answers with a failure; `{status}` is the text of "
                 "its status code")

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
     dict(dict.fromkeys(("PyArg_ParseTuple",) + READ_ITEMS, NOT_TEXTS), **{
      "PyDict_New": runtime("PyDict_New failed!", "a dictionary can't be created"),
      "PyLong_FromLong": not_set("objClass") * 2,
      KEY: not_set("ufn", "objPath", "objClass"),
      "PyUnicode_FromString": not_set("ufn", "objPath", _UUID, "ufn", "objPath", _UUID + "+"),
      "PyDict_SetItem": not_set("ufn", "objPath", "objClass", _UUID,
                                "ufn", "objPath", "objClass", _UUID + "+")})),
    ("GetOqtaCappedMaxDiskVersion", (), {}, {}, {"Py_BuildValue": MEMORY}),
    ("UpgradeFormatVersionForDiskGroup", ("g",), {}, {},
     {"PyArg_ParseTuple": runtime("Unable to parse diskName", "the argument is not one `str`")}),
    ("GetT1DiskInfo", (), {},
     {"GetT1DiskInfoMap": {"out": {"facts": _DISKS}}},
     {"PyDict_New": [_NO_RESULT] + [_NO_FACTS] * 2,
      "PyLong_FromLong": FACT, "PyDict_SetItemString": FACT,
      "PyUnicode_FromString": DISK, "PyDict_SetItem": DISK}),
    ("GetT1DiskInfo", (), {},
     {"GetT1DiskInfoMap": {"throws": {"type": "QueltCtlException", "text": "no"}}},
     {"PyDict_New": _NO_RESULT, "PyUnicode_DecodeUTF8": MEMORY}),
    ("GetHostInfo", (), {},
     {"GetCapacityAndFSOverheadFromNorim": {"out": {"physicalUsed": 2 ** 40}}},
     {"PyDict_New": _NO_RESULT, "PyLong_FromUnsignedLongLong": _FIGURE,
      "PyDict_SetItemString": _FIGURE}),
]

_WHEN = "the arguments do not parse; None is rejected for every text"
PARSER = {"CreateObject": Outcome((TypeError, ValueError, OverflowError), None, _WHEN),
          "DeleteObject": Outcome((TypeError, ValueError), None, _WHEN)}

_OBJECTS = "Failed to get objects extended attributes: "
OBJECT = runtime(_OBJECTS + "Failed to GetObjectExtAttrs: {text}",
                 "the host library fails at one of the objects")

FAILURES = [
    ("CreateObject", {"groupUuid": "", "cid": ""}, {}, GROUP),
    ("CreateObject", {"cid": _UUID}, {}, NEW_CID),
    ("DeleteObject", ("x" * 100000,), {}, UUID(uuid="x" * 100000)),
    ("DeleteObject", {"cid": u"%s\u20ac"}, {}, CID(cid=u"%s\u20ac")),
    ("GetObjectExtAttrs", ([],), {}, NO_TEXTS),
    ("GetObjectExtAttrs", None, {"ObjLib_Init": {"returns": False}},
     runtime(_OBJECTS + "ObjLib_Init failed", "the object library can't be initialised")),
    ("GetObjectExtAttrs", None, {"ObjLib_GetURIPrefix": {"returns": None}},
     runtime(_OBJECTS + "Failed to get quelt URI prefix", "it gives no path prefix")),
    # The handle that it gives nevertheless is released.
    ("GetObjectExtAttrs", None, {"ObjLib_GetExtParams": {"out": {"objClass": 1}, "throws": {
        "type": "QueltCtlException", "text": "no"}}}, OBJECT(text="no")),
] + [(verb + "Object", None, {"ObjUtil_" + verb: {"returns": status}}, STATUS(status=text))
     for verb in ("Create", "Delete")
     for status, text in ((0x0BAD0005, "Already exists"), (-1, "Unknown status"))]

HOST = {
    "GetObjectExtAttrs": answers_its_own(_OBJECTS, " otherwise"),
    "GetOqtaCappedMaxDiskVersion": answers_all(), "GetT1DiskInfo": answers_all(),
    "GetHostInfo": answers_all(),
    "UpgradeFormatVersionForDiskGroup": answers_all(", for example at an unknown group"),
}
#: The rule of GetObjectExtAttrs for the work on one object.
OF_ONE = Rule("std", OBJECT, {})
