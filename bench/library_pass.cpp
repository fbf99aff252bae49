// The library's part of what the viewer does: every reply of a stream is read and decoded, and nothing is
// shown.
//
//   tesparser_library_pass STREAM
//
// The stream holds replies with their lengths before them, as `tesview pack --to delimited` makes them. Each
// gets the calls that `tesview --to ndjson` makes: its table, which is freed, and JSON where it has none.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "tesparser/tesparser.h"
#include "tsl_base/table.h"

namespace {

// The length at the front, and how many bytes it takes; 0 where none begins.
size_t TakeLength(const std::string& stream, size_t at, uint64_t* length) {
  *length = 0;
  for (size_t i = 0; i < 10 && at + i < stream.size(); ++i) {
    const auto byte = static_cast<unsigned char>(stream[at + i]);
    *length |= static_cast<uint64_t>(byte & 0x7F) << (7 * i);
    if (byte < 0x80) return i + 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: tesparser_library_pass STREAM\n");
    return 2;
  }
  std::ifstream file(argv[1], std::ios::binary);
  const std::string stream((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  size_t replies = 0;
  size_t tables = 0;
  std::string reply;
  for (size_t at = 0; at < stream.size();) {
    uint64_t length = 0;
    const size_t prefix = TakeLength(stream, at, &length);
    if (prefix == 0 || length > stream.size() - at - prefix) {
      std::fprintf(stderr, "%s: the stream breaks off at offset %zu\n", argv[1], at);
      return 1;
    }
    reply.assign(stream, at + prefix, static_cast<size_t>(length));
    at += prefix + static_cast<size_t>(length);
    ++replies;
    if (void* table = TesparserPB2Table(reply)) {
      ++tables;
      table_free(table);
    } else {
      TesparserPB2Json(reply);
    }
  }
  std::printf("%zu replies, %zu with a table, %zu bytes\n", replies, tables, stream.size());
  return 0;
}
