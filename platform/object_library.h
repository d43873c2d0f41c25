// The object layer: plain functions that create, delete and describe storage objects.
//
// Statuses are kernel status codes: 0 is success. Texts that the layer hands out are released with
// free(). Any thread may call any function; ObjLib_Init and ObjLib_Exit come in pairs and nest.
#pragma once

#include <cstdint>

/// A 16-byte object identifier, byte 0 first.
struct QUELTUUID {
  std::uint8_t bytes[16];
};

/// Handle of an object's descriptor database; released with the parameters it belongs to.
struct ObjDescriptor;

/// An object's extended parameters. Made by ObjLib_GetExtParams, which owns the layout's rest.
struct ObjLibExtParams {
  std::int32_t objClass;      ///< NORIM_EXTATTR_OBJTYPE_CLASS_*
  ObjDescriptor* descriptor;  ///< for DDBGet
};

extern "C" {
#pragma GCC visibility push(default)

/// Creates an object. `cid` and `groupUuid` point to 16 bytes each (zeros: none given); `ufn`,
/// `haMetaData` and `policy` may be null; `size` is in bytes; `capabilities` -1 means unspecified.
/// On success writes the new object's identifier to the 16 bytes at `uuid`.
std::int32_t ObjUtil_Create(const std::uint8_t* cid, const char* ufn, const char* haMetaData,
                            const char* policy, std::int32_t allocType, std::uint64_t size,
                            std::int32_t capabilities, bool ignoreExtAttr,
                            const std::uint8_t* groupUuid, std::int32_t objClass,
                            std::uint8_t* uuid);

/// Deletes the object with the 16-byte identifier at `uuid`. The last two arguments are null.
std::int32_t ObjUtil_Delete(const std::uint8_t* cid, const std::uint8_t* uuid, bool force,
                            void* reserved0, void* reserved1);

/// Makes the library ready for ObjLib_GetURIPrefix, ObjLib_GetExtParams and DDBGet.
bool ObjLib_Init();
/// Ends what one successful ObjLib_Init began.
void ObjLib_Exit() noexcept;

/// The text that stands before an identifier in an object's path, or null.
char* ObjLib_GetURIPrefix(int selector);

/// Reads the extended parameters of the object at `path`; zero is success and fills `*params`.
int ObjLib_GetExtParams(const char* path, int flags, ObjLibExtParams** params);
/// Releases `*params`, with its descriptor, and sets it to null.
void ObjLib_FreeExtParams(ObjLibExtParams** params) noexcept;

/// The value of a descriptor key, or null when the descriptor has no such key.
char* DDBGet(ObjDescriptor* descriptor, const char* key);

#pragma GCC visibility pop
}
