#include "tsl_base/version.h"

// From the build and not from the header, so that a test can hold the one against the other.
const char* tsl_base_version(void) {
  return TSL_BASE_PROJECT_VERSION;
}
