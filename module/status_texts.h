// Texts for the status codes of the host kernel.
//
// A kernel call returns 0 for success. The failure with table index k (1 to 360) has the code
// 0x0BAD0000 + k; some callers pass the index k itself, which has the same text. Codes from
// 0x2BAD0000 up belong to the service console and have no individual texts.
//
// Both symbols are exported for native code outside the module.
//
// Thread safety: constant data only. Any thread may call at any time, with or without the GIL.
// Ownership: the texts live as long as the module stays loaded; nobody frees them.
#pragma once

// Returns the text for `status`, a kernel status code or a table index: a NUL-terminated ASCII
// text, never null. A code without a text returns "Unknown status" or, in the service console's
// range, "Opaque service console status".
extern "C" __attribute__((visibility("default"))) const char* ZEL_ReturnStatusToString(int status);

// Row k is the text of code 0x0BAD0000 + k; row 0 is the text of success. No row is null.
extern "C" __attribute__((visibility("default"))) const char* const returnStatusStrs[361];
