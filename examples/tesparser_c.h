/* The decoder as C functions, over tesparser_c.cpp. Tables need no such help: tsl_base/table.h is C already.
 */
#ifndef EXAMPLES_TESPARSER_C_H_
#define EXAMPLES_TESPARSER_C_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The table of a reply, to be freed with table_free(); null if there is none or memory is exhausted. */
void* tesparser_c_table(const void* reply, size_t size);

/* The same in the layout of a TPType. */
void* tesparser_c_table_type(const void* reply, size_t size, int type);

/* The reply as JSON, to be freed with free(); null if there is none: the bytes are no reply, a value cannot
 * stand in JSON, or memory is exhausted. */
char* tesparser_c_json(const void* reply, size_t size);

#ifdef __cplusplus
}
#endif

#endif /* EXAMPLES_TESPARSER_C_H_ */
