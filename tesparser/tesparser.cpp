#include "tesparser/tesparser.h"

#include "tesparser/message_to_json.h"
#include "tesparser/reply_frame.h"
#include "tesparser/tes2table.h"
#include "tesparser/tes2tableType.h"

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
