/* Which version of libtsl_base is in use. */
#ifndef TSL_BASE_VERSION_H_
#define TSL_BASE_VERSION_H_

#include "tsl_base/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The version of the library that is loaded, as "1.0.0": what the program runs with, which may be newer than
 * what it was built with. The first number is the one in the library's file name and changes when programs
 * have to be built anew; the second when something is added.
 *
 * Returns  zero-terminated text that stays valid for good, never null. Any thread, any time.
 */
TSL_BASE_API const char* tsl_base_version(void);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TSL_BASE_VERSION_H_ */
