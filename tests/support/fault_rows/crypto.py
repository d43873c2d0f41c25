"""Keys, key servers, disks and the encryption state."""

import struct

from fault_rows import (HOST_TEXT, KEY, MEMORY, NO_PLUGIN, READ_ITEMS, TWO_TEXTS, answers_all,
                        not_set, runtime, value)

_ENC_INFO = "encrypted", "useAwsKms", "dekInCache", "kekId", "clusterId", "dekGenerationId"
_DEK, _BLOCK = b"d" * 64, b"b" * 2048
_ONE_TEXT = "the argument is not one `str`"
_NOT_A_DISK = runtime("Unable to parse input disk name", _ONE_TEXT)
_BYTES = {"PyArg_ParseTuple": _NOT_A_DISK, "PyBytes_FromStringAndSize": MEMORY}
_OTHER_ARGUMENTS = "the arguments have other types or another number"
_NOT_A_BLOCK = runtime("Unable to parse input", _OTHER_ARGUMENTS)
_NO_DICT = runtime("PyDict_New result failed!", "the dictionary can't be created")
NOT_BUILT = runtime("Py_BuildValue failed!",
                    "a value can't be created: out of memory, or a text that is not UTF-8")
SERVER = runtime("PyGetKms failed!",
                 "a value can't be created or set: out of memory, or a text that is not UTF-8")
LONG_KEY = value("Key does not fit the buffer", "the host library reports more than 4096 bytes")
LONG_DEK = value("Wrapped DEK is too long", "the record has a length above 300")
BLOCK_LENGTH = runtime("buffer has wrong length", "the block does not have 2048 bytes")
DEK_LENGTH = runtime("DEK has wrong length", "the DEK does not have 64 bytes")


def _status(parse_failure):
    failed = runtime("PyDict_SetItemString failed!", "an item can't be set")
    return {"PyArg_ParseTuple": parse_failure, "PyDict_New": _NO_DICT, "PyBool_FromLong": NOT_BUILT,
            "PyUnicode_FromString": NOT_BUILT, KEY: failed, "PyDict_SetItem": [failed] * 2}


def not_one_text(message):
    return {"PyArg_ParseTuple": runtime(message, _ONE_TEXT)}


ROWS = [
    ("GetKekId", (), {}, {"GetConfiguredKekId": {"returns": "kek id"}}, {"Py_BuildValue": MEMORY}),
    ("SetKekId", ("a",), {}, {}, not_one_text("Unable to parse input KEK id")),
    ("GetHostKeyId", (), {}, {"GetConfiguredHostKeyId": {"returns": "key id"}},
     {"Py_BuildValue": MEMORY}),
    ("SetHostKeyId", ("a",), {}, {}, not_one_text("Unable to parse input key id")),
    ("CacheKey", ("a", "b", b"c"), {}, {},
     {"PyArg_ParseTuple": runtime("Unable to parse input key", _OTHER_ARGUMENTS)}),
    ("RemoveKey", ("a",), {}, {}, not_one_text("Unable to parse input key id")),
    ("GetKeyFromKeyCache", ("a",), {},
     {"RetrieveKeyFromKeyCache": {"out": {"buffer": "key", "length": 3}}},
     dict(not_one_text("Unable to parse input KEK id"), PyBytes_FromStringAndSize=MEMORY)),
    ("CheckKmsStatus", ("a", "b", 1), {}, {"QueryKmsStatus": {"out": {"reason": "none"}}},
     _status(runtime("Unable to parse input parameters", _OTHER_ARGUMENTS))),
    ("CheckCloudKmsStatus", ("a",), {}, {"CheckCloudKmsStatus": {"out": {"error": "none"}}},
     _status(_NOT_A_DISK)),
    ("AddKmsTrustedCert", ("a",), {}, {}, not_one_text("Unable to parse input cert")),
    ("GetKmsPasswordFromConfigStore", ("a", "b"), {},
     {"GetKmsPasswordFromConfigStore": {"out": {"password": "word"}}},
     {"PyArg_ParseTuple": TWO_TEXTS, "Py_BuildValue": MEMORY}),
    ("GetKms", (), {},
     {"GetKmsInfoList": {"returns": [{"name": "name", "port": 1000}] * 2}},
     {"PyList_New": runtime("PyList_New failed!", "the list can't be created"),
      "PyDict_New": runtime("PyDict_New failed!", "a dictionary can't be created"),
      "PyUnicode_FromString": SERVER, "PyLong_FromLong": SERVER,
      KEY: SERVER, "PyDict_SetItem": SERVER, "PyList_Append": SERVER}),
    ("GetEncInfoForDisk", ("a",), {},
     {"GetEncMetadataForDisk": {"out": {"metadata": b"u" * 512}}},
     {"PyArg_ParseTuple": _NOT_A_DISK, "PyDict_New": _NO_DICT,
      "PyBool_FromLong": not_set("encrypted", "useAwsKms", "dekInCache"),
      "PyUnicode_FromString": not_set("kekId", "clusterId"),
      "PyLong_FromUnsignedLongLong": not_set("dekGenerationId"),
      KEY: not_set(*_ENC_INFO), "PyDict_SetItem": not_set(*_ENC_INFO)}),
    ("GetWrappedDekFromDisk", ("a",), {}, {}, _BYTES),
    ("GetDekFromDisk", ("a",), {}, {}, _BYTES),
    ("Decrypt2kBlock", (_DEK, 0, _BLOCK), {}, {},
     {"PyArg_ParseTuple": _NOT_A_BLOCK, "PyBytes_FromStringAndSize": MEMORY}),
    ("Decrypt2kBlock", (bytearray(_DEK), 0, bytearray(_BLOCK)), {},
     {"Decrypt2kBlock": {"throws": {"type": "QueltCtlException", "text": "no"}}},
     {"PyArg_ParseTuple": _NOT_A_BLOCK, "PyUnicode_DecodeUTF8": MEMORY}),
    ("SetEncryptionEnabled", (1,), {}, {},
     {"PyArg_ParseTuple": runtime("Unable to parse enabled",
                                  "the argument is not one `int` of 32 bits")}),
    ("ShallowRekey", (["a", "b"],), {}, {}, dict.fromkeys(
        ("PyArg_ParseTuple",) + READ_ITEMS,
        runtime("Unable to parse diskNames",
                "the argument is not one `list`, or an item is not a `str`"))),
]

FAILURES = [
    ("GetKeyFromKeyCache", None, {"RetrieveKeyFromKeyCache": {"out": {"length": 4097}}}, LONG_KEY),
    ("GetWrappedDekFromDisk", None, {"GetEncMetadataForDisk": {"out": {
        "metadata": b"\2" * 512, "aws": b"\0" * 192 + struct.pack("<H", 301)}}}, LONG_DEK),
] + [("Decrypt2kBlock", (bytearray(dek_size), 0, bytearray(block_size)), {}, outcome)
     for dek_size, block_size, outcome in (
         (64, 2049, BLOCK_LENGTH), (64, 2047, BLOCK_LENGTH), (63, 2047, BLOCK_LENGTH),
         (65, 2048, DEK_LENGTH), (63, 2048, DEK_LENGTH))] + [
    ("GetKekId", None, {"GetQueltPlugin": {"returns": None}}, HOST_TEXT(text=NO_PLUGIN)),
    ("GetKekId", None, {"GetHostSystem": {"returns": None}},
     HOST_TEXT(text="The cluster plug-in gave no operations object")),
    ("GetKms", None, {"GetKmsInfoList": {"returns": None}},
     HOST_TEXT(text="The cluster plug-in gave no KMS list")),
]

HOST = {row[0]: answers_all() for row in ROWS}
HOST.update({name: answers_all(", for example " + example) for name, example in (
    ("CacheKey", "at a key of more than 4096 bytes on the embedded host"),
    ("RemoveKey", "at an unknown id"), ("GetKeyFromKeyCache", "at an unknown id"),
    ("AddKmsTrustedCert", "at a text without a certificate, or with one that can't be read; "
     "nothing is added then"),
    ("GetEncInfoForDisk", "at an unknown disk"), ("GetWrappedDekFromDisk", "at an unknown disk"),
    ("GetDekFromDisk", "at an unknown disk or with a wrong KEK"))})
