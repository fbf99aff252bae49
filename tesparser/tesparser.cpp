#include "tesparser/tesparser.h"

#include <google/protobuf/arena.h>

#include "MSG.proto.h"
#include "tesparser/message_to_json.h"
#include "tesparser/tes2table.h"
#include "tesparser/tes2tableType.h"

namespace {

// The reply of one call, in the frame of its export. The envelope with its 463 repeated fields is the largest
// object of the schema (11 KB); the block holds it and the first of what it carries, so that it costs no
// allocation.
class ReplyFrame {
 public:
  ReplyFrame() : arena_(Options()), message_(google::protobuf::Arena::CreateMessage<tessel::MSG>(&arena_)) {}

  tessel::MSG& message() { return *message_; }

 private:
  google::protobuf::ArenaOptions Options() {
    google::protobuf::ArenaOptions options;
    options.initial_block = block_;
    options.initial_block_size = sizeof(block_);
    options.max_block_size = size_t{256} * 1024;
    return options;
  }

  alignas(16) char block_[16 * 1024];
  google::protobuf::Arena arena_;
  tessel::MSG* message_;
};

}  // namespace

std::string TesparserPB2Json(const std::string& data) {
  ReplyFrame frame;
  if (!frame.message().ParseFromString(data)) return std::string();
  // Text of a reply that is mostly text is little longer than the reply; numbers take several times their
  // bytes.
  return MessageToJson(frame.message(), data.size() + data.size() / 8);
}

void* TesparserPB2Table(const std::string& data) {
  ReplyFrame frame;
  if (!frame.message().ParseFromString(data)) return nullptr;
  return tes2table().Parse(frame.message());
}

void* TesparserPB2TableType(const std::string& data, TPType type) {
  ReplyFrame frame;
  if (!frame.message().ParseFromString(data)) return nullptr;
  return tes2tableType().ParseTableType(frame.message(), type);
}
