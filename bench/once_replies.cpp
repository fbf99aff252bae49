// Runs one of the routes that lie beside the library over one reply a fixed number of times: under callgrind,
// a repeatable instruction count. The reply is read from a file, as in arrow.cpp.
//
//   tesparser_once_replies FILE arrow|flat|decode TIMES
//
//   arrow    a table as an Arrow array, by table_export_arrow()
//   flat     one stream of the replies, with a row for each innermost row
//   decode   the same by the schema alone
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "replies/source.h"
#include "replies/table_stream.h"
#include "replies/wire.h"
#include "tesparser/tesparser.h"
#include "tsl_base/arrow.h"
#include "tsl_base/text.h"

namespace {

[[noreturn]] void End(const std::string& what) {
  std::fprintf(stderr, "tesparser_once_replies: %s\n", what.c_str());
  std::exit(1);
}

void Export(const std::string& reply, int times) {
  const tsl_base::KeepUtf8 keep;
  for (int i = 0; i < times; ++i) {
    ArrowSchema schema{};
    ArrowArray array{};
    if (table_export_arrow(TesparserPB2Table(reply), &schema, &array) != 0) End("it cannot be exported");
    schema.release(&schema);
    array.release(&array);
  }
}

void Stream(const std::string& bytes, bool decode, int times) {
  replies::TableRequest request;
  if (!replies::FindId(bytes, &request.id)) End("it has no Id");
  request.decode = decode;
  const auto next = [&bytes, &times](replies::Reply* reply, std::string*) {
    if (times-- == 0) return replies::Next::kEnd;
    if (reply->bytes.size() != bytes.size()) reply->bytes = bytes;
    return replies::Next::kReply;
  };
  replies::StreamCounts counts;
  ArrowArrayStream stream{};
  std::string error;
  if (!replies::MakeTableStream(next, request, {}, {}, &counts, &stream, &error)) End(error);
  for (bool more = true; more;) {
    ArrowArray array{};
    if (stream.get_next(&stream, &array) != 0) End(stream.get_last_error(&stream));
    more = array.release != nullptr;
    if (more) array.release(&array);
  }
  stream.release(&stream);
  if (counts.rows == 0) End("it has no rows");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) End("FILE arrow|flat|decode TIMES");
  const std::string reply = replies::ReadWholeFile(argv[1]);
  const std::string route = argv[2];
  const int times = std::atoi(argv[3]);
  if (route == "arrow") {
    Export(reply, times);
  } else if (route == "flat" || route == "decode") {
    Stream(reply, route == "decode", times);
  } else {
    End("no route " + route);
  }
  return 0;
}
