"""Unicast membership."""

from fault_rows import (FIND_ITEM, KEY, MEMORY, NO_PLUGIN, answers_its_own, keywords, runtime,
                        value)

_LISTING = "Failed to get unicast agents from ulo: "


def _listing(message, when):
    return runtime(_LISTING + message + "{agent}", when)


NO_LIST = _listing("Failed to allocate python list for:", "the list of a node can't be created")
NO_AGENT = _listing("Failed to allocate python dict object {position} for:",
                    "the dictionary of the agent at this position can't be created")
NO_VALUE = _listing("Failed to allocate python object {key}",
                    "a value can't be created: out of memory, or a text that is not UTF-8")
NOT_SET = _listing("Failed to set python object {key}", "a value can't be set")
NOT_APPENDED = _listing("Failed to append list item for:",
                        "an agent can't be appended to the list of its node")
NOT_STORED = _listing("Failed to set python list for:", "the list of a node can't be stored under "
                      "its UUID: out of memory, or a UUID that is not UTF-8")

PARAMETERS = runtime("Failed to extract parameters",
                     "the arguments do not parse: a wrong type, an unknown keyword, no `addr`, or "
                     "None for `uuid` or `type`")
_NO_PARAMETERS = runtime("Failed to extract parameters for PyGetUnicastAgents",
                         "the arguments do not parse: more than one, or an unknown keyword")
TYPE = runtime("Invalid type specified: {type}", "the type is not `node`, `witness`, `metadata` "
               "or, while the CSD feature is on, `remote`")
ADDRESS = runtime("Invalid address specified: {addr}", "the text is not an address")
PORT = runtime("Invalid port specified: {port}",
               "the port does not fit 32 bits; `(an integer of N bits)` replaces a number of more "
               "than 4,300 digits or the interpreter's own limit")

_MODE = "Failed to get unicast mode:"
_HOST_MODE = answers_its_own(_MODE)
NO_MODE = runtime(_MODE + "no cluster configuration", "the host library gives no configuration")

_FLAGS = ["isWitness", "isSupportUnicast"]
_TEXTS = ["zelnic", "hostname", "thumbprint", "subClusterUuid"]
_FIELDS = _FLAGS + ["address", "port"] + _TEXTS


def _of_agent(outcome, **values):
    """The outcome for the agent below."""
    return outcome(agent=" uuid: uuid+ isWitness: 0 isSupportUnicast: 0 address: 192.0.2.1"
                   " port: 1000 zelnic: zel0 hostname:  thumbprint:  subClusterUuid: ", **values)


def _of_fields(outcome, *keys):
    return [_of_agent(outcome, key=key) for key in keys]


# Two agents of one node: the first creates the list, the second uses it.
_AGENT = {"uuid": "uuid+", "address": "192.0.2.1", "port": 1000, "zelnic": "zel0"}
_ADDR, _CSD = "192.0.2.7", {"IsQueltCSDFeatureEnabled": {"returns": True}}
_REMOTE = {"type": "remote", "port": 12345}
_PORT = dict(keywords(PARAMETERS), PyLong_AsLongAndOverflow=MEMORY)

ROWS = [
    ("GetUnicastAgents", (), {},
     {"GetUnicastAgentList": {"out": {"agents": [_AGENT, _AGENT]}}},
     dict(keywords(_NO_PARAMETERS), **{
      "PyDict_New": [value("Failed to create result list", "the result can't be created"),
                     _of_agent(NO_AGENT, position=0), _of_agent(NO_AGENT, position=1)],
      "PyList_New": _of_agent(NO_LIST),
      # The key for the UUID, then the fields.
      "PyUnicode_FromString":
      ([_of_agent(NOT_STORED)] + _of_fields(NO_VALUE, "address", *_TEXTS)) * 2,
      FIND_ITEM: _of_agent(NOT_STORED),
      "PyBool_FromLong": _of_fields(NO_VALUE, *_FLAGS) * 2,
      "PyLong_FromLong": _of_agent(NO_VALUE, key="port"),
      KEY: _of_fields(NOT_SET, *_FIELDS),
      "PyDict_SetItem": (_of_fields(NOT_SET, *_FIELDS) + [_of_agent(NOT_STORED)]) * 2,
      "PyList_Append": _of_agent(NOT_APPENDED)})),
    ("GetUnicastAgents", (), {},
     {"GetUnicastAgentList": {"throws": {"type": "QueltCtlException", "text": "no"}}},
     dict(keywords(_NO_PARAMETERS), PyUnicode_DecodeUTF8=MEMORY)),
    ("AddUnicastAgent", (_ADDR,), _REMOTE, _CSD, _PORT),
    ("SetUnicastInfoInConfigStore", (_ADDR,), _REMOTE, _CSD, _PORT),
    ("SetUnicastInfoInConfigStore", (_ADDR,), {"type": "x"}, {},
     dict(keywords(PARAMETERS), PyUnicode_DecodeUTF8=MEMORY)),
    ("RemoveUnicastAgent", (_ADDR,), _REMOTE, _CSD, _PORT),
    ("RemoveUnicastAgent", (_ADDR,), {"port": 10 ** 20}, {},
     dict(_PORT, PyUnicode_InternFromString=MEMORY, PyObject_GetAttr=MEMORY, Py_BuildValue=MEMORY,
          PyObject_CallObject=MEMORY, PyLong_AsLong=MEMORY, PyNumber_ToBase=MEMORY,
          PyUnicode_AsUTF8=MEMORY, PyUnicode_DecodeUTF8=MEMORY)),
    ("GetUnicastMode", (), {}, {"GetClusterConfig": {"returns": True}},
     {"PyBool_FromLong": MEMORY}),
]

CHANGES = ("AddUnicastAgent", "RemoveUnicastAgent", "SetUnicastInfoInConfigStore")

FAILURES = [row for name in CHANGES for row in (
    (name, None, {"IsQueltCSDFeatureEnabled": {"returns": False}}, TYPE(type="remote")),
    (name, None, {"BuildQueltIPAddress": {"returns": False}}, ADDRESS(addr=_ADDR)),
    (name, {"port": 2 ** 31}, {}, PORT(port=2 ** 31)),
)] + [
    ("GetUnicastMode", None, {"GetClusterConfig": {"returns": None}}, NO_MODE),
    ("GetUnicastMode", None, {"GetQueltPlugin": {"returns": None}},
     _HOST_MODE.outcome(text=NO_PLUGIN)),
]


def _change(verb, fields, when="", **values):
    """The rule of one change. `values` are those of the success path."""
    described = " ".join("%s: {%s}" % (name, name) for name in fields.split())
    return answers_its_own("Failed to %s unicast agent (%s): " % (verb, described), when,
                           uuid="00000000-0000-0000-0000-000000000000", addr=_ADDR, port=12345,
                           **values)


_WHOLE_AGENT = ("uuid type isSupportUnicast addr port interface hostname thumbprint"
                " subClusterUuid")
_WHOLE = dict(dict.fromkeys(("interface", "hostname", "thumbprint", "subClusterUuid")),
              type="remote", isSupportUnicast=0)
_SHOWN = "; flags are shown as `1` or `0`, a text that was not given as `None`"

HOST = {
    "GetUnicastMode": _HOST_MODE,
    "GetUnicastAgents": answers_its_own(_LISTING),
    "AddUnicastAgent": _change("add", _WHOLE_AGENT, _SHOWN, **_WHOLE),
    "SetUnicastInfoInConfigStore": _change("update", _WHOLE_AGENT, _SHOWN, **_WHOLE),
    "RemoveUnicastAgent": _change("remove", "uuid addr port nodeType replaceWitness",
                                  "; the node type is shown as its number, the flag as `1` or `0`",
                                  nodeType=3, replaceWitness=0),
}
