#include "replies/descriptors.h"

#include "replies/wire.h"

// The assembler copies the file: an array in C++ source of this size takes the compiler seconds.
asm(".section .rodata.replies_descriptors, \"a\"\n"
    ".balign 8\n"
    "replies_descriptors_begin:\n"
    ".incbin \"" REPLIES_DESCRIPTORS
    "\"\n"
    "replies_descriptors_end:\n"
    ".byte 0\n"
    ".text\n");

extern "C" {
extern const char replies_descriptors_begin[] __attribute__((visibility("hidden")));
extern const char replies_descriptors_end[] __attribute__((visibility("hidden")));
}

namespace replies {

std::vector<std::string_view> DescriptorFiles() {
  const std::string_view set(replies_descriptors_begin,
                             static_cast<size_t>(replies_descriptors_end - replies_descriptors_begin));
  std::vector<std::string_view> files;
  size_t pos = 0;
  WireField field;
  while (ReadField(set, &pos, &field) == WireStep::kField) {
    if (field.number == 1 && field.wire_type == 2) files.push_back(field.payload);
  }
  return files;
}

}  // namespace replies
