#include "tesparser/tes2tableType.h"

#include "tesparser/tes2table.h"

void* tes2tableType::ParseTableType(const tessel::MSG& msg, TPType type) {
  return type == TPTypeById ? tes2table().Parse(msg) : nullptr;
}
