// Sources and replies, for readers and streams alike.
#ifndef CAPI_READER_H_
#define CAPI_READER_H_

#include <memory>
#include <optional>

#include "capi/tesparser_c.h"
#include "replies/byte_source.h"
#include "replies/form.h"
#include "replies/reply_reader.h"
#include "replies/unpacked_source.h"

namespace capi {

// A source with what reads it.
class Replies {
 public:
  Replies(std::unique_ptr<replies::ByteSource> source, replies::Form form);

  // As ReplyReader::Read().
  replies::Next Read(replies::Reply* reply, std::string* error) { return reader_.Read(reply, error); }

 private:
  std::unique_ptr<replies::ByteSource> source_;
  replies::UnpackedSource unpacked_;
  replies::ReplyReader reader_;
};

// Null, and why, for arguments that are none. Throws what opening the file throws.
std::unique_ptr<Replies> OpenFile(const char* path, int32_t form, tesparser_error* error);
std::unique_ptr<Replies> OpenMemory(const void* bytes, size_t size, int32_t form, tesparser_error* error);

}  // namespace capi

#endif  // CAPI_READER_H_
