/* How the engine's public C functions are declared: C linkage, visible in the shared library, and never
 * letting a C++ exception out (running out of memory ends the process). */
#pragma once

#define DS_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define DS_NOTHROW noexcept
#define DS_BEGIN_DECLS extern "C" {
#define DS_END_DECLS }
#else
#define DS_NOTHROW
#define DS_BEGIN_DECLS
#define DS_END_DECLS
#endif
