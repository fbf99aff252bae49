#include "tsl_base/version.h"

const char* tsl_base_version(void) {
  return TSL_BASE_VERSION;
}
