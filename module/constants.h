// Constants that both the module's namespace and its functions use.
#pragma once

namespace pyquelt {

/// How the space of an object is allocated: `CreateObject`'s `allocType`.
enum ObjectAllocType : int {
  OBJ_ALLOC_TYPE_INVALID = 0,
  OBJ_ALLOC_TYPE_THICK = 1,
  OBJ_ALLOC_TYPE_EAGER_ZEROED_THICK = 2,
  OBJ_ALLOC_TYPE_ZEROED_THICK = 3,
  OBJ_ALLOC_TYPE_THIN = 4,
};

/// The class of an object in the cluster directory's extended attributes: `objClass`.
enum ObjectClass : int {
  NORIM_EXTATTR_OBJTYPE_CLASS_VDISK = 0,
  NORIM_EXTATTR_OBJTYPE_CLASS_SNAPSHOT = 1,
  NORIM_EXTATTR_OBJTYPE_CLASS_VMNAMESPACE = 2,
  NORIM_EXTATTR_OBJTYPE_CLASS_VMSWAP = 3,
  NORIM_EXTATTR_OBJTYPE_CLASS_VMEM = 4,
  NORIM_EXTATTR_OBJTYPE_CLASS_SIDECAR = 5,
  NORIM_EXTATTR_OBJTYPE_CLASS_TOVIPERSIST = 6,
  NORIM_EXTATTR_OBJTYPE_CLASS_COREDUMP = 7,
  NORIM_EXTATTR_OBJTYPE_CLASS_DPCONSISTENCYGROUP = 8,
  NORIM_EXTATTR_OBJTYPE_CLASS_HULFS = 9,
};

}  // namespace pyquelt
