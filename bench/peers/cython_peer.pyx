# distutils: language = c++
# cython: language_level=3
"""The measured functions bound with Cython."""
from cpython.bytes cimport PyBytes_FromStringAndSize
from libc.string cimport memset
from libcpp cimport bool
from libcpp.string cimport string
from libcpp.vector cimport vector


cdef extern from "bench/peers/operations.h" namespace "operations" nogil:
    cppclass Status:
        bool good
        string reason
    cppclass Agent:
        string uuid
        bool isSupportUnicast
        string address
        int port
        string zelnic
        string hostname
        string thumbprint
        string subClusterUuid
    string c_GetHardwareSku "operations::GetHardwareSku"() except +
    void c_SetIloAuth "operations::SetIloAuth"(const string&, const string&) except +
    Status c_CheckKmsStatus "operations::CheckKmsStatus"(
        const string&, const string&, int) except +
    void c_Decrypt2kBlock "operations::Decrypt2kBlock"(
        const void*, unsigned long, const void*, void*) except +
    vector[Agent] c_GetUnicastAgents "operations::GetUnicastAgents"(bool) except +
    bool ShowsNodeType()
    bool IsWitness(const Agent&)


cdef extern from *:
    """
    static inline long NodeType(const operations::Agent& agent) {
        return static_cast<long>(agent.nodeType);
    }
    """
    long NodeType(const Agent&)


def GetHardwareSku():
    cdef string sku
    with nogil:
        sku = c_GetHardwareSku()
    return sku.decode("utf-8")


def SetIloAuth(str first, str second):
    cdef string first_text = first.encode("utf-8")
    cdef string second_text = second.encode("utf-8")
    with nogil:
        c_SetIloAuth(first_text, second_text)


def CheckKmsStatus(str cluster, str key, int seconds):
    cdef string cluster_text = cluster.encode("utf-8")
    cdef string key_text = key.encode("utf-8")
    cdef Status status
    with nogil:
        status = c_CheckKmsStatus(cluster_text, key_text, seconds)
    return {"good": status.good, "reason": status.reason.decode("utf-8")}


def Decrypt2kBlock(const unsigned char[::1] dek, unsigned long position,
                   const unsigned char[::1] block):
    cdef char output[2048]
    if dek.shape[0] != 64 or block.shape[0] != 2048:
        raise RuntimeError("wrong length")
    with nogil:
        c_Decrypt2kBlock(&dek[0], position, &block[0], output)
    result = PyBytes_FromStringAndSize(output, sizeof(output))
    memset(output, 0, sizeof(output))
    return result


cdef dict to_dict(const Agent& agent):
    cdef dict item = {}
    if ShowsNodeType():
        item["nodeType"] = NodeType(agent)
    else:
        item["isWitness"] = IsWitness(agent)
    item["isSupportUnicast"] = agent.isSupportUnicast
    item["address"] = agent.address.decode("utf-8")
    item["port"] = agent.port
    item["zelnic"] = agent.zelnic.decode("utf-8")
    item["hostname"] = agent.hostname.decode("utf-8")
    item["thumbprint"] = agent.thumbprint.decode("utf-8")
    item["subClusterUuid"] = agent.subClusterUuid.decode("utf-8")
    return item


def GetUnicastAgents(bool includeExtra=False):
    cdef vector[Agent] agents
    cdef size_t i
    cdef dict result = {}
    cdef list listed
    with nogil:
        agents = c_GetUnicastAgents(includeExtra)
    for i in range(agents.size()):
        ShowsNodeType()
        uuid = agents[i].uuid.decode("utf-8")
        listed = <list>result.get(uuid)
        if listed is None:
            listed = []
        listed.append(to_dict(agents[i]))
        result[uuid] = listed
    return result
