"""Unicast membership."""

from fault_rows import BAD_PARAMETERS, MEMORY, keywords, runtime


def listing(text, uuid="uuid+"):
    return runtime(
        "Failed to get unicast agents from ulo: " + text + " uuid: " + uuid + " isWitness: 0"
        " isSupportUnicast: 0 address: 192.0.2.1 port: 1000 zelnic: zel0"
        " hostname:  thumbprint:  subClusterUuid: ")


_FLAGS = ["isWitness", "isSupportUnicast"]
_TEXTS = ["zelnic", "hostname", "thumbprint", "subClusterUuid"]
_FIELDS = _FLAGS + ["address", "port"] + _TEXTS
_STORE = "Failed to set python list for:"
_ALLOCATE = "Failed to allocate python object "
_SET = "Failed to set python object "
# Two agents of one node: keys are made for the first, the list is there for the second.
_AGENT = {"uuid": "uuid+", "address": "192.0.2.1", "port": 1000, "zelnic": "zel0"}
_REMOTE, _CSD = {"type": "remote", "port": 12345}, {"IsQueltCSDFeatureEnabled": {"returns": True}}
_LISTING = keywords(runtime("Failed to extract parameters for PyGetUnicastAgents"))
_PORT = dict(keywords(BAD_PARAMETERS), PyLong_AsLongAndOverflow=MEMORY)

ROWS = [
    ("GetUnicastAgents", (), {},
     {"GetUnicastAgentList": {"out": {"agents": [_AGENT, _AGENT]}}},
     dict(_LISTING, **{
      "PyDict_New": [(ValueError, "Failed to create result list"),
                     listing("Failed to allocate python dict object 0 for:"),
                     listing("Failed to allocate python dict object 1 for:")],
      "PyList_New": listing("Failed to allocate python list for:"),
      # First the key for the UUID, then the fields.
      "PyUnicode_FromString":
      ([listing(_STORE)] +
       [listing(_ALLOCATE + name) for name in ["address"] + _TEXTS]) * 2,
      "PyDict_GetItemWithError": listing(_STORE),
      "PyBool_FromLong": [listing(_ALLOCATE + name) for name in _FLAGS] * 2,
      "PyLong_FromLong": listing(_ALLOCATE + "port"),
      "PyUnicode_InternFromString": [listing(_SET + name) for name in _FIELDS],
      "PyDict_SetItem":
      ([listing(_SET + name) for name in _FIELDS] + [listing(_STORE)]) * 2,
      "PyList_Append": listing("Failed to append list item for:")})),
    ("GetUnicastAgents", (), {},
     {"GetUnicastAgentList": {"throws": {"type": "QueltCtlException", "text": "no"}}},
     dict(_LISTING, PyUnicode_DecodeUTF8=MEMORY)),
    ("AddUnicastAgent", ("192.0.2.7",), _REMOTE, _CSD, _PORT),
    ("SetUnicastInfoInConfigStore", ("192.0.2.7",), _REMOTE, _CSD, _PORT),
    ("SetUnicastInfoInConfigStore", ("192.0.2.7",), {"type": "x"}, {},
     dict(keywords(BAD_PARAMETERS), PyUnicode_DecodeUTF8=MEMORY)),
    ("RemoveUnicastAgent", ("192.0.2.7",), _REMOTE, _CSD, _PORT),
    ("RemoveUnicastAgent", ("192.0.2.7",), {"port": 10 ** 20}, {},
     dict(_PORT, PyUnicode_InternFromString=MEMORY, PyObject_GetAttr=MEMORY, Py_BuildValue=MEMORY,
          PyObject_CallObject=MEMORY, PyLong_AsLong=MEMORY, PyNumber_ToBase=MEMORY,
          PyUnicode_AsUTF8=MEMORY, PyUnicode_DecodeUTF8=MEMORY)),
    ("GetUnicastMode", (), {}, {"GetClusterConfig": {"returns": True}},
     {"PyBool_FromLong": MEMORY}),
]
