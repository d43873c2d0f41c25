"""The measured functions bound with ctypes."""

import ctypes
import os

from ctypes import c_char, c_char_p, c_int, c_long, c_size_t, c_ulong

TEXT = 512
LIBRARY = ctypes.CDLL(os.environ["PYQUELT_C_OPERATIONS"])


class Agent(ctypes.Structure):
    _fields_ = [(name, c_char_p) for name in (
        "uuid", "address", "zelnic", "hostname", "thumbprint", "subClusterUuid")] + [
            ("nodeType", c_long), ("port", c_int), ("isSupportUnicast", ctypes.c_bool),
            ("isWitness", ctypes.c_bool), ("showsNodeType", ctypes.c_bool)]


class Agents(ctypes.Structure):
    _fields_ = [("count", c_size_t), ("agents", ctypes.POINTER(Agent))]


LIBRARY.c_hardware_sku.argtypes = [c_char_p, c_size_t]
LIBRARY.c_set_ilo_auth.argtypes = [c_char_p, c_char_p, c_char_p, c_size_t]
LIBRARY.c_kms_status.argtypes = [
    c_char_p, c_char_p, c_int, ctypes.POINTER(c_char), c_char_p, c_size_t]
LIBRARY.c_decrypt_2k_block.argtypes = [
    c_char_p, c_ulong, c_char_p, c_char_p, c_char_p, c_size_t]
LIBRARY.c_unicast_agents.argtypes = [c_int, c_char_p, c_size_t]
LIBRARY.c_unicast_agents.restype = ctypes.POINTER(Agents)
LIBRARY.c_free_agents.argtypes = [ctypes.POINTER(Agents)]
LIBRARY.c_free_agents.restype = None


def GetHardwareSku():
    text = ctypes.create_string_buffer(TEXT)
    if LIBRARY.c_hardware_sku(text, TEXT):
        raise ValueError(text.value.decode("utf-8"))
    return text.value.decode("utf-8")


def SetIloAuth(first, second):
    text = ctypes.create_string_buffer(TEXT)
    if LIBRARY.c_set_ilo_auth(first.encode("utf-8"), second.encode("utf-8"), text, TEXT):
        raise ValueError(text.value.decode("utf-8"))


def CheckKmsStatus(cluster, key, seconds):
    text = ctypes.create_string_buffer(TEXT)
    good = c_char()
    if LIBRARY.c_kms_status(cluster.encode("utf-8"), key.encode("utf-8"), seconds,
                            ctypes.byref(good), text, TEXT):
        raise ValueError(text.value.decode("utf-8"))
    return {"good": good.value != b"\0", "reason": text.value.decode("utf-8")}


def Decrypt2kBlock(dek, position, block):
    if len(dek) != 64 or len(block) != 2048:
        raise RuntimeError("wrong length")
    text = ctypes.create_string_buffer(TEXT)
    output = ctypes.create_string_buffer(2048)
    if LIBRARY.c_decrypt_2k_block(dek, position, block, output, text, TEXT):
        raise ValueError(text.value.decode("utf-8"))
    result = output.raw
    ctypes.memset(output, 0, 2048)
    return result


def GetUnicastAgents(includeExtra=False):
    text = ctypes.create_string_buffer(TEXT)
    listed = LIBRARY.c_unicast_agents(bool(includeExtra), text, TEXT)
    if not listed:
        raise ValueError(text.value.decode("utf-8"))
    result = {}
    try:
        for agent in listed.contents.agents[:listed.contents.count]:
            item = ({"nodeType": agent.nodeType} if agent.showsNodeType
                    else {"isWitness": agent.isWitness})
            item["isSupportUnicast"] = agent.isSupportUnicast
            item["address"] = agent.address.decode("utf-8")
            item["port"] = agent.port
            item["zelnic"] = agent.zelnic.decode("utf-8")
            item["hostname"] = agent.hostname.decode("utf-8")
            item["thumbprint"] = agent.thumbprint.decode("utf-8")
            item["subClusterUuid"] = agent.subClusterUuid.decode("utf-8")
            result.setdefault(agent.uuid.decode("utf-8"), []).append(item)
    finally:
        LIBRARY.c_free_agents(listed)
    return result
