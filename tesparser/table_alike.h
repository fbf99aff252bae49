// Tables of the same columns, one after the other.
#ifndef TESPARSER_TABLE_ALIKE_H_
#define TESPARSER_TABLE_ALIKE_H_

#include "tsl_base/table.h"

// The one operation that a host's own base library may lack: without it, tables are made from their spec.
extern "C" void* table_create_like(const void* model, int rows, const char* name) __attribute__((weak));

// A table of the columns of `model`, which was made from `spec`; the first one has no model and reads the
// spec.
inline void* CreateAlike(const void* model, const char* spec, int rows) {
  return model != nullptr && table_create_like != nullptr ? table_create_like(model, rows, "")
                                                          : table_create(spec, rows, "");
}

#endif  // TESPARSER_TABLE_ALIKE_H_
