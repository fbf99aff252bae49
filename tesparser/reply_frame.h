// The envelope of one call, kept in the frame of that call.
#ifndef TESPARSER_REPLY_FRAME_H_
#define TESPARSER_REPLY_FRAME_H_

#include <google/protobuf/arena.h>

#include <cstddef>

#include "MSG.proto.h"

// The reply of one call. The envelope with its 463 repeated fields is the largest object of the schema (11
// KB); the block holds it and the first of what it carries, so that it costs no allocation.
class ReplyFrame {
 public:
  ReplyFrame() : arena_(Options()), message_(google::protobuf::Arena::CreateMessage<tessel::MSG>(&arena_)) {}

  tessel::MSG& message() { return *message_; }

 private:
  static constexpr size_t kBlockSize = size_t{16} * 1024;
  // What must be left beside the envelope: the arena keeps its own records in the block too.
  static constexpr size_t kRest = size_t{2} * 1024;
  static_assert(sizeof(tessel::MSG) + kRest <= kBlockSize, "the envelope has outgrown its block");

  google::protobuf::ArenaOptions Options() {
    google::protobuf::ArenaOptions options;
    options.initial_block = block_;
    options.initial_block_size = sizeof(block_);
    options.max_block_size = size_t{256} * 1024;
    return options;
  }

  alignas(16) char block_[kBlockSize];
  google::protobuf::Arena arena_;
  tessel::MSG* message_;
};

#endif  // TESPARSER_REPLY_FRAME_H_
