// The object layer: plain functions that create, delete and describe storage objects.
//
// A status is a kernel status code: 0 is success. The caller releases a returned text with free().
// Any thread may call any function, without the GIL. ObjLib_Init and ObjLib_Exit come in pairs and
// may nest. A function may also fail by throwing a std::exception, unless it is noexcept.
#pragma once

#include <cstdint>

/// A 16-byte object identifier, byte 0 first.
struct QUELTUUID {
  std::uint8_t bytes[16];
};

/// An object's descriptor database. Owned by the parameters that it belongs to.
struct ObjDescriptor;

/// The beginning of an object's extended parameters, which only ObjLib_GetExtParams creates.
struct ObjLibExtParams {
  std::int32_t objClass;      ///< NORIM_EXTATTR_OBJTYPE_CLASS_*
  ObjDescriptor* descriptor;  ///< for DDBGet
};

extern "C" {
#pragma GCC visibility push(default)

/// Creates an object and writes its identifier to the 16 bytes at `uuid`. Returns a status.
///
/// `cid` and `groupUuid` point to 16 bytes each, zeros if none is given. `ufn` (the friendly name),
/// `haMetaData` and `policy` may be null. `allocType` and `objClass` are constants of the module.
/// `size` is in bytes. `capabilities` -1 means unspecified. `ignoreExtAttr`: store no extended
/// attributes.
std::int32_t ObjUtil_Create(const std::uint8_t* cid, const char* ufn, const char* haMetaData,
                            const char* policy, std::int32_t allocType, std::uint64_t size,
                            std::int32_t capabilities, bool ignoreExtAttr,
                            const std::uint8_t* groupUuid, std::int32_t objClass,
                            std::uint8_t* uuid);

/// Deletes the object with the 16-byte identifier at `uuid`. Returns a status. `cid` points to 16
/// bytes, zeros if none is given; `force` also deletes an object that can't be accessed and a group
/// that has members. The last two arguments are null.
std::int32_t ObjUtil_Delete(const std::uint8_t* cid, const std::uint8_t* uuid, bool force,
                            void* reserved0, void* reserved1);

/// Initialises the library for the four functions below. False on failure; then ObjLib_Exit must
/// not be called.
bool ObjLib_Init();
/// Undoes one successful ObjLib_Init.
void ObjLib_Exit() noexcept;

/// The text that precedes the identifier in an object's path, or null on failure. `selector` is 3
/// for the paths that ObjLib_GetExtParams takes.
char* ObjLib_GetURIPrefix(int selector);

/// Reads the extended parameters of the object at `path`, the URI prefix followed by the object's
/// UUID text. `flags` is 0. Returns 0 and sets `*params`, which the caller frees; any other result
/// is a failure, after which the caller frees a `*params` that is not null.
int ObjLib_GetExtParams(const char* path, int flags, ObjLibExtParams** params);
/// Frees `*params` with its descriptor and sets it to null.
void ObjLib_FreeExtParams(ObjLibExtParams** params) noexcept;

/// The value of `key` in the descriptor, or null when it has no such key.
char* DDBGet(ObjDescriptor* descriptor, const char* key);

#pragma GCC visibility pop
}
