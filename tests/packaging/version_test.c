/* The version that the library tells at run time is the project's, and C can ask for it. */
#include "tsl_base/version.h"

#include <stdio.h>
#include <string.h>

int main(void) {
  if (strcmp(tsl_base_version(), PROJECT_VERSION) == 0) return 0;
  fprintf(stderr, "tsl_base tells %s, the project is %s\n", tsl_base_version(), PROJECT_VERSION);
  return 1;
}
