# Types of pyquelt, for type checkers and editors. docs/reference.md describes the functions.
#
# Names with a leading underscore exist only in this file: import them under typing.TYPE_CHECKING.
# `...` as a default means: the argument may be omitted, but None is rejected.
from typing import Final, Optional, TypedDict, Union

from typing_extensions import Buffer, NotRequired

OBJ_ALLOC_TYPE_INVALID: Final = 0
OBJ_ALLOC_TYPE_THICK: Final = 1
OBJ_ALLOC_TYPE_EAGER_ZEROED_THICK: Final = 2
OBJ_ALLOC_TYPE_ZEROED_THICK: Final = 3
OBJ_ALLOC_TYPE_THIN: Final = 4

NORIM_EXTATTR_OBJTYPE_CLASS_VDISK: Final = 0
NORIM_EXTATTR_OBJTYPE_CLASS_SNAPSHOT: Final = 1
NORIM_EXTATTR_OBJTYPE_CLASS_VMNAMESPACE: Final = 2
NORIM_EXTATTR_OBJTYPE_CLASS_VMSWAP: Final = 3
NORIM_EXTATTR_OBJTYPE_CLASS_VMEM: Final = 4
NORIM_EXTATTR_OBJTYPE_CLASS_SIDECAR: Final = 5
NORIM_EXTATTR_OBJTYPE_CLASS_TOVIPERSIST: Final = 6
NORIM_EXTATTR_OBJTYPE_CLASS_COREDUMP: Final = 7
NORIM_EXTATTR_OBJTYPE_CLASS_DPCONSISTENCYGROUP: Final = 8
NORIM_EXTATTR_OBJTYPE_CLASS_HULFS: Final = 9

PLOG_CALLER_NUM_BITS: Final = 4
PLOG_SOURCE_NUM_BITS: Final = 3
PLOG_CALLER_MAX: Final = 10
PLOG_SOURCE_MAX: Final = 5
INVALID_UNICAST_ADDRESS: Final = "0.0.0.0"

class _KmsStatus(TypedDict):
    good: bool
    reason: str

class _CloudKmsStatus(TypedDict):
    good: bool
    error: str

class _KmsServer(TypedDict):
    kmipClusterId: NotRequired[str]
    address: NotRequired[str]
    proxyAddress: NotRequired[str]
    protocol: NotRequired[str]
    userName: NotRequired[str]
    name: NotRequired[str]
    password: str
    proxyPort: NotRequired[int]
    port: NotRequired[int]
    reconnect: NotRequired[int]
    timeout: NotRequired[int]
    nbio: NotRequired[int]

class _EncInfo(TypedDict):
    encrypted: bool
    useAwsKms: bool
    dekInCache: bool
    kekId: str
    clusterId: str
    dekGenerationId: int

class _UnicastAgent(TypedDict):
    nodeType: NotRequired[int]
    isWitness: NotRequired[bool]
    isSupportUnicast: bool
    address: str
    port: int
    zelnic: str
    hostname: str
    thumbprint: str
    subClusterUuid: str

_ZelnicInfo = TypedDict(
    "_ZelnicInfo",
    {
        "ZelNic Name": str,
        "IP Protocol": str,
        "Interface UUID": str,
        "Agent Group Multicast Address": str,
        "Agent Group IPv6 Multicast Address": str,
        "Agent Group Multicast Port": int,
        "Master Group Multicast Address": str,
        "Master Group IPv6 Multicast Address": str,
        "Master Group Multicast Port": int,
        "Host Unicast Channel Bound Port": int,
        "Multicast TTL": int,
        "Traffic Type": str,
    },
)

class _ObjectExtAttrs(TypedDict):
    ufn: str
    objPath: str
    objClass: int

class _HostInfo(TypedDict):
    physicalCapacity: int
    physicalUsed: int
    logicalCapacity: int
    logicalUsed: int
    dedupMetadataSize: int
    logicalFSOverhead: int
    blkAttrOverhead: int
    transientSpace: int
    physicalTransientSpace: int

def GetT1DiskInfo(*args: object) -> dict[str, dict[str, int]]:
    """Get disk info for T1 disks"""

def UpgradeFormatVersionForDiskGroup(diskName: str, /) -> None:
    """Upgrade format version for given disk group"""

def GetHostInfo(*args: object) -> _HostInfo:
    """Get certain host info"""

def SetKekId(kekId: str, /) -> None:
    """Persist KEK id in iru.conf"""

def GetKekId(*args: object) -> str:
    """Get KEK id from iru.conf"""

def CheckKmsStatus(kmipClusterId: str, keyId: str, timeout: int, /) -> _KmsStatus:
    """Check KMS status"""

def SetHostKeyId(hostKeyId: str, /) -> None:
    """Persist HostKey id in iru.conf"""

def GetHostKeyId(*args: object) -> str:
    """Get HostKey id from iru.conf"""

def CacheKey(keyId: str, attribute: str, key: Union[str, bytes], /) -> None:
    """Put key in KeyCache"""

def RemoveKey(keyId: str, /) -> None:
    """Remove key from KeyCache"""

def SetEncryptionEnabled(enabled: int, /) -> None:
    """Set encryption enable state on the host"""

def ShallowRekey(diskNames: list[str], /) -> None:
    """Shallow rekey for given disks"""

def AddKmsTrustedCert(cert: str, /) -> None:
    """Add KMS certificate to ca store"""

def CheckCloudKmsStatus(kms: str, /) -> _CloudKmsStatus:
    """Check AWS KMS status"""

def GetKms(*args: object) -> list[_KmsServer]:
    """Get Kms information from iru.conf"""

def GetKeyFromKeyCache(keyId: str, /) -> bytes:
    """Get Key with given id from KeyCache"""

def GetDekFromDisk(diskName: str, /) -> bytes:
    """Get unwrapped DEK from disk"""

def GetWrappedDekFromDisk(diskName: str, /) -> bytes:
    """Get wrapped DEK from disk"""

def Decrypt2kBlock(dek: Buffer, position: int, block: Buffer, /) -> bytes:
    """Decrypt a 2k block"""

def GetEncInfoForDisk(diskName: str, /) -> _EncInfo:
    """Get encryption information for disk"""

def GetUnicastAgents(includeExtra: object = False) -> dict[str, list[_UnicastAgent]]:
    """Get existing unicast configuration"""

def AddUnicastAgent(
    addr: str,
    uuid: str = "00000000-0000-0000-0000-000000000000",
    type: str = "witness",
    isSupportUnicast: bool = False,
    port: int = 12321,
    interface: Optional[str] = None,
    hostname: Optional[str] = None,
    thumbprint: Optional[str] = None,
    subclusterUuid: Optional[str] = None,
) -> None:
    """Add one new unicast configuration"""

def RemoveUnicastAgent(
    addr: str,
    uuid: str = "00000000-0000-0000-0000-000000000000",
    port: int = 12321,
    type: str = "node",
    replaceWitness: bool = False,
) -> None:
    """Remove one existing unicast configuration"""

def SetUnicastInfoInConfigStore(
    addr: str,
    uuid: str = "00000000-0000-0000-0000-000000000000",
    type: str = "witness",
    isSupportUnicast: bool = False,
    port: int = 12321,
    interface: Optional[str] = None,
    hostname: Optional[str] = None,
    thumbprint: Optional[str] = None,
    subclusterUuid: Optional[str] = None,
) -> None:
    """Set unicast agent information in config store"""

def GetUnicastMode(*args: object) -> bool:
    """Get host unicast enablement mode"""

def CreateObject(
    *,
    ufn: str = ...,
    haMetaData: str = ...,
    policy: str = ...,
    allocType: int = 4,
    size: int = 0,
    capabilities: int = -1,
    ignoreExtAttr: object = False,
    groupUuid: str = ...,
    objClass: int = 0,
    cid: str = ...,
) -> str:
    """Create Quelt Object"""

def DeleteObject(uuid: str, *, force: object = False, cid: str = ...) -> None:
    """Delete Quelt Object"""

def GetOqtaCappedMaxDiskVersion(*args: object) -> int:
    """Get Oqta capped highest disk version"""

def GetKmsPasswordFromConfigStore(kekId: str, kmipClusterId: str, /) -> Optional[str]:
    """Get Kms password from config store"""

def SetPerfsvcHostConfigStore(first: str, second: str, /) -> None:
    """Set host config of perfsvc to config store"""

def GetPerfsvcHostConfigStore(*args: object) -> dict[str, str]:
    """Get host config of perfsvc from config store"""

def SetClusterTimeMachineConfigStore(first: str, second: str, /) -> None:
    """Set norim time machine configurations to config store"""

def GetObjectExtAttrs(uuids: list[str], /) -> dict[str, _ObjectExtAttrs]:
    """Get object extended attributes"""

def GetQueltZelnicNames(*args: object) -> list[str]:
    """Get quelt zelnic names"""

def GetIloAuth(*args: object) -> tuple[str, str]:
    """Get iLO credential of hardware management from config store"""

def SetIloAuth(first: str, second: str, /) -> None:
    """Set iLO credential of hardware management to config store"""

def GetHardwareSku(*args: object) -> str:
    """Get hardware SKU from config store"""

def GetQueltNetworkInfo(*args: object) -> list[_ZelnicInfo]:
    """Get Quelt network info"""
