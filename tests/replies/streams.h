// Streams of replies with their lengths, and what reading them gives.
#ifndef TESTS_REPLIES_STREAMS_H_
#define TESTS_REPLIES_STREAMS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "replies/frames.h"
#include "replies/reply_reader.h"
#include "tests/replies/samples.h"

namespace replies {

inline constexpr Form kStreamForms[] = {Form::kDelimited, Form::kFixed32Be, Form::kFixed32Le};

// A reply of Id 20 with a payload: the tag of field 20 is (20 << 3 | 2) = 162, A2 01 as a varint. Five bytes
// longer than the payload, which has 127 bytes at most.
inline std::string WithPayload(const std::string& payload) {
  return "\x08\x14\xA2\x01" + std::string(1, static_cast<char>(payload.size())) + payload;
}

// With its length, of 16383 at most, before it.
inline std::string InFrame(const std::string& reply, Form form = Form::kDelimited) {
  const char low = static_cast<char>(reply.size() & 0xFF);
  const char high = static_cast<char>(reply.size() >> 8);
  if (form == Form::kFixed32Be) return std::string(2, '\0') + high + low + reply;
  if (form == Form::kFixed32Le) return std::string() + low + high + std::string(2, '\0') + reply;
  if (reply.size() < 0x80) return static_cast<char>(reply.size()) + reply;
  return std::string() + static_cast<char>((reply.size() & 0x7F) | 0x80) +
         static_cast<char>(reply.size() >> 7) + reply;
}

struct StreamRead {
  Strings replies;
  std::vector<uint64_t> numbers;
  std::vector<uint64_t> offsets;
  Strings errors;
  std::vector<uint64_t> lost;  // bytes, for each error
};

inline StreamRead ReadStream(ReplyReader* reader) {
  StreamRead all;
  Reply reply;
  std::string error;
  for (Next next = reader->Read(&reply, &error); next != Next::kEnd; next = reader->Read(&reply, &error)) {
    if (next == Next::kBad) {
      all.errors.push_back(error);
      all.lost.push_back(reply.lost);
      continue;
    }
    all.replies.push_back(reply.bytes);
    all.numbers.push_back(reply.number);
    all.offsets.push_back(reply.offset);
  }
  return all;
}

inline StreamRead ReadStream(const std::string& bytes, Form form = Form::kDelimited) {
  MemorySource source(bytes);
  ReplyReader reader(&source, form, nullptr);
  return ReadStream(&reader);
}

}  // namespace replies

#endif  // TESTS_REPLIES_STREAMS_H_
