"""Keys, key servers, disks and the encryption state."""

from fault_rows import BAD_PARAMETERS, MEMORY, not_set, runtime

_DEK, _BLOCK = b"d" * 64, b"b" * 2048
_BAD_DISK = runtime("Unable to parse input disk name")
_BYTES = {"PyArg_ParseTuple": _BAD_DISK, "PyBytes_FromStringAndSize": MEMORY}


def _status(parse_failure):
    failed = runtime("PyDict_SetItemString failed!")
    not_built = runtime("Py_BuildValue failed!")
    return {"PyArg_ParseTuple": runtime(parse_failure),
            "PyDict_New": runtime("PyDict_New result failed!"), "PyBool_FromLong": not_built,
            "PyUnicode_FromString": [failed, not_built, failed],  # a key, the text, its key
            "PyDict_SetItem": [failed] * 2}


ROWS = [
    ("GetKekId", (), {}, {"GetConfiguredKekId": {"returns": "kek id"}}, {"Py_BuildValue": MEMORY}),
    ("SetKekId", ("a",), {}, {}, {"PyArg_ParseTuple": runtime("Unable to parse input KEK id")}),
    ("GetHostKeyId", (), {}, {"GetConfiguredHostKeyId": {"returns": "key id"}},
     {"Py_BuildValue": MEMORY}),
    ("SetHostKeyId", ("a",), {}, {}, {"PyArg_ParseTuple": runtime("Unable to parse input key id")}),
    ("CacheKey", ("a", "b", b"c"), {}, {},
     {"PyArg_ParseTuple": runtime("Unable to parse input key")}),
    ("RemoveKey", ("a",), {}, {}, {"PyArg_ParseTuple": runtime("Unable to parse input key id")}),
    ("GetKeyFromKeyCache", ("a",), {},
     {"RetrieveKeyFromKeyCache": {"out": {"key": "key", "length": 3}}},
     {"PyArg_ParseTuple": runtime("Unable to parse input KEK id"),
      "PyBytes_FromStringAndSize": MEMORY}),
    ("CheckKmsStatus", ("a", "b", 1), {}, {"QueryKmsStatus": {"out": {"reason": "none"}}},
     _status("Unable to parse input parameters")),
    ("CheckCloudKmsStatus", ("a",), {}, {"CheckCloudKmsStatus": {"out": {"error": "none"}}},
     _status("Unable to parse input disk name")),
    ("AddKmsTrustedCert", ("a",), {}, {},
     {"PyArg_ParseTuple": runtime("Unable to parse input cert")}),
    ("GetKmsPasswordFromConfigStore", ("a", "b"), {},
     {"GetKmsPasswordFromConfigStore": {"out": {"password": "word"}}},
     {"PyArg_ParseTuple": BAD_PARAMETERS, "Py_BuildValue": MEMORY}),
    ("GetKms", (), {},
     {"GetKmsInfoList": {"out": {"servers": [{"name": "name", "port": 1000}] * 2}}},
     {"PyList_New": runtime("PyList_New failed!"), "PyDict_New": runtime("PyDict_New failed!"),
      "Py_BuildValue": runtime("PyGetKms failed!"),
      "PyDict_SetItemString": runtime("PyGetKms failed!"),
      "PyList_SetItem": runtime("PyGetKms failed!")}),
    ("GetEncInfoForDisk", ("a",), {},
     {"GetEncMetadataForDisk": {"out": {"metadata": b"u" * 512}}},
     {"PyArg_ParseTuple": _BAD_DISK, "PyDict_New": runtime("PyDict_New result failed!"),
      "PyBool_FromLong": not_set("encrypted", "useAwsKms", "dekInCache"),
      "Py_BuildValue": not_set("kekId", "clusterId", "dekGenerationId"),
      "PyDict_SetItemString": not_set("encrypted", "useAwsKms", "dekInCache", "kekId", "clusterId",
                                      "dekGenerationId")}),
    ("GetWrappedDekFromDisk", ("a",), {}, {}, _BYTES),
    ("GetDekFromDisk", ("a",), {}, {}, _BYTES),
    ("Decrypt2kBlock", (_DEK, 0, _BLOCK), {}, {},
     {"PyArg_ParseTuple": runtime("Unable to parse input"), "PyBytes_FromStringAndSize": MEMORY}),
    ("Decrypt2kBlock", (bytearray(_DEK), 0, bytearray(_BLOCK)), {},
     {"Decrypt2kBlock": {"throws": {"type": "QueltCtlException", "text": "no"}}},
     {"PyArg_ParseTuple": runtime("Unable to parse input"), "PyUnicode_DecodeUTF8": MEMORY}),
    ("SetEncryptionEnabled", (1,), {}, {},
     {"PyArg_ParseTuple": runtime("Unable to parse enabled")}),
    ("ShallowRekey", (["a", "b"],), {}, {},
     {"PyArg_ParseTuple": runtime("Unable to parse diskNames"),
      "PyUnicode_AsUTF8AndSize": runtime("Unable to parse diskNames")}),
]
