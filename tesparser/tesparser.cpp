#include "tesparser/tesparser.h"

#include "tesparser/message_to_json.h"
#include "tesparser/reply_frame.h"
#include "tesparser/tes2table.h"
#include "tesparser/tes2tableType.h"

std::string TesparserPB2Json(const std::string& data) {
  ReplyFrame frame;
  if (!frame.message().ParseFromString(data)) return std::string();
  return MessageToJson(frame.message());
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
