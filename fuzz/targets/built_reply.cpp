// Valid replies, built and changed field by field, through the three renderers.
#include <memory>
#include <string>

#include "fuzz/support/change_reply.h"
#include "fuzz/support/renderers.h"
#include "fuzz/support/target.h"

namespace {

void built_reply(const uint8_t* data, size_t size) {
  const auto reply = std::make_unique<std::string>(reinterpret_cast<const char*>(data), size);
  fuzz::RenderAll(*reply);
}

}  // namespace

FUZZ_TARGET_WITH_MUTATOR(built_reply, 4096, fuzz::Kind::kReplies, &fuzz::ChangeReply)
