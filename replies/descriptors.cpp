#include "replies/descriptors.h"

// The assembler copies the file: an array in C++ source of this size takes the compiler seconds.
asm(".section .rodata.tesview_descriptors, \"a\"\n"
    ".balign 8\n"
    "tesview_descriptors_begin:\n"
    ".incbin \"" TESVIEW_DESCRIPTORS
    "\"\n"
    "tesview_descriptors_end:\n"
    ".byte 0\n"
    ".text\n");

extern "C" {
extern const char tesview_descriptors_begin[] __attribute__((visibility("hidden")));
extern const char tesview_descriptors_end[] __attribute__((visibility("hidden")));
}

namespace tesview {

std::string_view Descriptors() {
  return {tesview_descriptors_begin,
          static_cast<size_t>(tesview_descriptors_end - tesview_descriptors_begin)};
}

}  // namespace tesview
