#include "capi/reader.h"

#include <string>
#include <utility>

#include "capi/call.h"
#include "replies/source.h"
#include "replies/text_form.h"
#include "replies/wire.h"

namespace capi {
namespace {

bool ParseText(const std::string& text, std::string* bytes, std::string* error) {
  return replies::TextToBytes(text, false, bytes, error);
}

std::optional<replies::Form> FormOf(int32_t form) {
  switch (form) {
    case TESPARSER_FORM_AUTO: return replies::Form::kAuto;
    case TESPARSER_FORM_RAW: return replies::Form::kRaw;
    case TESPARSER_FORM_DELIMITED: return replies::Form::kDelimited;
    case TESPARSER_FORM_HEX: return replies::Form::kHex;
    case TESPARSER_FORM_BASE64: return replies::Form::kBase64;
    case TESPARSER_FORM_LINES: return replies::Form::kLines;
    case TESPARSER_FORM_TEXT: return replies::Form::kText;
    case TESPARSER_FORM_FIXED32_BE: return replies::Form::kFixed32Be;
    case TESPARSER_FORM_FIXED32_LE: return replies::Form::kFixed32Le;
    default: return std::nullopt;
  }
}

std::optional<replies::Form> TakeForm(int32_t number, tesparser_error* error) {
  const auto form = FormOf(number);
  if (!form) Fail(error, TESPARSER_BAD_ARGUMENT, "`form` is no enum tesparser_form");
  return form;
}

}  // namespace

Replies::Replies(std::unique_ptr<replies::ByteSource> source, replies::Form form)
    : source_(std::move(source)), unpacked_(source_.get()), reader_(&unpacked_, form, ParseText) {}

std::unique_ptr<Replies> OpenFile(const char* path, int32_t form, tesparser_error* error) {
  const auto taken = TakeForm(form, error);
  if (!taken) return nullptr;
  if (path == nullptr) {
    Fail(error, TESPARSER_BAD_ARGUMENT, "`path` is null");
    return nullptr;
  }
  return std::make_unique<Replies>(std::make_unique<replies::FileSource>(path), *taken);
}

std::unique_ptr<Replies> OpenMemory(const void* bytes, size_t size, int32_t form, tesparser_error* error) {
  const auto taken = TakeForm(form, error);
  if (!taken || !CheckBytes(bytes, size, error)) return nullptr;
  const std::string_view view(size == 0 ? "" : static_cast<const char*>(bytes), size);
  return std::make_unique<Replies>(std::make_unique<replies::MemorySource>(view), *taken);
}

}  // namespace capi

struct tesparser_reader {
  std::unique_ptr<capi::Replies> replies;
  replies::Reply reply;
  tesparser_error failure{};  // once it has failed
};

namespace {

tesparser_reader* NewReader(std::unique_ptr<capi::Replies> replies) {
  if (replies == nullptr) return nullptr;
  auto reader = std::make_unique<tesparser_reader>();
  reader->replies = std::move(replies);
  return reader.release();
}

int32_t Read(tesparser_reader* reader, tesparser_reply* reply, tesparser_error* error) {
  std::string why;
  const replies::Reply& read = reader->reply;
  switch (reader->replies->Read(&reader->reply, &why)) {
    case replies::Next::kReply: break;
    case replies::Next::kBad:
      capi::Fail(error, TESPARSER_NOT_A_REPLY, why);
      *reply = {nullptr, read.lost, read.number, read.offset, 0, 0};
      return TESPARSER_NEXT_LOST;
    case replies::Next::kEnd: return TESPARSER_NEXT_END;
  }
  const std::string& bytes = read.bytes;
  *reply = {bytes.data(), bytes.size(), read.number, read.offset, 0, 0};
  replies::FindId(bytes, &reply->id);
  return TESPARSER_NEXT_REPLY;
}

}  // namespace

tesparser_reader* tesparser_read_file(const char* path, int32_t form, tesparser_error* error) {
  return capi::Guarded<tesparser_reader*>(error, nullptr,
                                          [&] { return NewReader(capi::OpenFile(path, form, error)); });
}

tesparser_reader* tesparser_read_memory(const void* bytes, size_t size, int32_t form,
                                        tesparser_error* error) {
  return capi::Guarded<tesparser_reader*>(
      error, nullptr, [&] { return NewReader(capi::OpenMemory(bytes, size, form, error)); });
}

int32_t tesparser_next(tesparser_reader* reader, tesparser_reply* reply, tesparser_error* error) {
  if (reader == nullptr || reply == nullptr) {
    capi::Fail(error, TESPARSER_BAD_ARGUMENT, "`reader` or `reply` is null");
    return TESPARSER_NEXT_FAILED;
  }
  if (reader->failure.reason == TESPARSER_OK) {
    tesparser_error why;
    const int32_t next =
        capi::Guarded<int32_t>(&why, TESPARSER_NEXT_FAILED, [&] { return Read(reader, reply, &why); });
    if (error != nullptr) *error = why;
    // The source has been left in the middle of a reply.
    if (next == TESPARSER_NEXT_FAILED) reader->failure = why;
    return next;
  }
  if (error != nullptr) *error = reader->failure;
  return TESPARSER_NEXT_FAILED;
}

void tesparser_reader_free(tesparser_reader* reader) {
  delete reader;
}
