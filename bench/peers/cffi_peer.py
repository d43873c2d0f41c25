"""The measured functions bound with cffi, in its compiled form.

`cffi_peer.py HEADER OUTPUT` writes the C source of the extension.
"""

import sys

TEXT = 512


def emit(header, output):
    import cffi
    with open(header) as lines:
        text = lines.read()
    start = text.index("/* cffi from here */")
    builder = cffi.FFI()
    builder.cdef(text[start:text.index("/* cffi to here */")])
    builder.set_source("_cffi_peer", '#include "bench/peers/c_operations.h"')
    builder.emit_c_code(output)


def GetHardwareSku():
    text = ffi.new("char[]", TEXT)
    if lib.c_hardware_sku(text, TEXT):
        raise ValueError(ffi.string(text).decode("utf-8"))
    return ffi.string(text).decode("utf-8")


def SetIloAuth(first, second):
    text = ffi.new("char[]", TEXT)
    if lib.c_set_ilo_auth(first.encode("utf-8"), second.encode("utf-8"), text, TEXT):
        raise ValueError(ffi.string(text).decode("utf-8"))


def CheckKmsStatus(cluster, key, seconds):
    text = ffi.new("char[]", TEXT)
    good = ffi.new("char *")
    if lib.c_kms_status(cluster.encode("utf-8"), key.encode("utf-8"), seconds, good, text, TEXT):
        raise ValueError(ffi.string(text).decode("utf-8"))
    return {"good": good[0] != b"\0", "reason": ffi.string(text).decode("utf-8")}


def Decrypt2kBlock(dek, position, block):
    if len(dek) != 64 or len(block) != 2048:
        raise RuntimeError("wrong length")
    text = ffi.new("char[]", TEXT)
    output = ffi.new("char[]", 2048)
    if lib.c_decrypt_2k_block(dek, position, block, output, text, TEXT):
        raise ValueError(ffi.string(text).decode("utf-8"))
    result = ffi.buffer(output)[:]
    ffi.memmove(output, bytes(2048), 2048)
    return result


def GetUnicastAgents(includeExtra=False):
    text = ffi.new("char[]", TEXT)
    listed = lib.c_unicast_agents(bool(includeExtra), text, TEXT)
    if listed == ffi.NULL:
        raise ValueError(ffi.string(text).decode("utf-8"))
    string = ffi.string
    result = {}
    try:
        for agent in ffi.unpack(listed.agents, listed.count) if listed.count else ():
            item = ({"nodeType": agent.nodeType} if agent.showsNodeType != b"\0"
                    else {"isWitness": agent.isWitness != b"\0"})
            item["isSupportUnicast"] = agent.isSupportUnicast != b"\0"
            item["address"] = string(agent.address).decode("utf-8")
            item["port"] = agent.port
            item["zelnic"] = string(agent.zelnic).decode("utf-8")
            item["hostname"] = string(agent.hostname).decode("utf-8")
            item["thumbprint"] = string(agent.thumbprint).decode("utf-8")
            item["subClusterUuid"] = string(agent.subClusterUuid).decode("utf-8")
            result.setdefault(string(agent.uuid).decode("utf-8"), []).append(item)
    finally:
        lib.c_free_agents(listed)
    return result


if __name__ == "__main__":
    emit(sys.argv[1], sys.argv[2])
else:
    from _cffi_peer import ffi, lib
