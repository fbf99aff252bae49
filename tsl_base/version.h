/* Which version of libtsl_base is in use, and which one a program was compiled with. */
#ifndef TSL_BASE_VERSION_H_
#define TSL_BASE_VERSION_H_

#include "tsl_base/export.h"

/* The version of these headers. The first number is the one in the library's file name and changes when
 * programs have to be rebuilt; the second when something is added; the third with corrections. */
#define TSL_BASE_VERSION_MAJOR 1
#define TSL_BASE_VERSION_MINOR 0
#define TSL_BASE_VERSION_PATCH 0
#define TSL_BASE_VERSION "1.0.0"

#ifdef __cplusplus
extern "C" {
#endif

/* The version of the library that is loaded, as "1.0.0": what the program runs with, which may be newer than
 * TSL_BASE_VERSION, what it was compiled with.
 *
 * Returns  zero-terminated text that is always valid, never null. Any thread, any time.
 */
TSL_BASE_API const char* tsl_base_version(void);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TSL_BASE_VERSION_H_ */
