#include "capi/call.h"

#include <cstdlib>
#include <cstring>

namespace capi {
namespace {

constexpr std::string_view kEllipsis = "...";

bool IsInsideCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

template <size_t kSize>
void CopyFront(char (&to)[kSize], std::string_view text) {
  size_t size = text.size();
  if (size >= kSize) {
    size = kSize - 1 - kEllipsis.size();
    while (size > 0 && IsInsideCharacter(text[size]))
      --size;
    std::memcpy(to + size, kEllipsis.data(), kEllipsis.size());
  }
  std::memcpy(to, text.data(), size);
  to[size + (size < text.size() ? kEllipsis.size() : 0)] = '\0';
}

// Paths are ASCII.
template <size_t kSize>
void CopyEnd(char (&to)[kSize], std::string_view text) {
  size_t from = 0;
  if (text.size() >= kSize) {
    std::memcpy(to, kEllipsis.data(), kEllipsis.size());
    from = kEllipsis.size();
    text.remove_prefix(text.size() - (kSize - 1 - from));
  }
  std::memcpy(to + from, text.data(), text.size());
  to[from + text.size()] = '\0';
}

tesparser_reason ReasonOf(replies::Reason reason) {
  switch (reason) {
    case replies::Reason::kNone: return TESPARSER_OK;
    case replies::Reason::kNotAReply: return TESPARSER_NOT_A_REPLY;
    case replies::Reason::kFieldMissing: return TESPARSER_FIELD_MISSING;
    case replies::Reason::kNoTableForm: return TESPARSER_NO_TABLE_FORM;
    case replies::Reason::kNothingInIt: return TESPARSER_NOTHING_IN_IT;
    case replies::Reason::kNotExpressible: return TESPARSER_NOT_EXPRESSIBLE;
    case replies::Reason::kOutOfMemory: return TESPARSER_OUT_OF_MEMORY;
  }
  return TESPARSER_INTERNAL;
}

}  // namespace

void Clear(tesparser_error* error) noexcept {
  if (error == nullptr) return;
  error->reason = TESPARSER_OK;
  error->reserved = 0;
  error->offset = 0;
  error->field[0] = '\0';
  error->message[0] = '\0';
}

void Fail(tesparser_error* error, tesparser_reason reason, std::string_view message) noexcept {
  if (error == nullptr) return;
  Clear(error);
  error->reason = reason;
  CopyFront(error->message, message);
}

void Fail(tesparser_error* error, const replies::Diagnosis& diagnosis) noexcept {
  if (error == nullptr) return;
  Fail(error, ReasonOf(diagnosis.reason), diagnosis.message);
  error->offset = diagnosis.offset;
  CopyEnd(error->field, diagnosis.field);
}

bool CheckBytes(const void* bytes, size_t size, tesparser_error* error) noexcept {
  if (bytes != nullptr || size == 0) return true;
  Fail(error, TESPARSER_BAD_ARGUMENT, "a null pointer with a length above 0");
  return false;
}

}  // namespace capi

const char* tesparser_reason_name(int32_t reason) {
  switch (reason) {
    case TESPARSER_OK: return "ok";
    case TESPARSER_NOT_A_REPLY: return "not a reply";
    case TESPARSER_FIELD_MISSING: return "a required field is missing";
    case TESPARSER_NO_TABLE_FORM: return "no table form";
    case TESPARSER_NOTHING_IN_IT: return "nothing in it";
    case TESPARSER_NOT_EXPRESSIBLE: return "not expressible as JSON";
    case TESPARSER_OUT_OF_MEMORY: return "out of memory";
    case TESPARSER_BAD_ARGUMENT: return "bad argument";
    case TESPARSER_CANNOT_READ: return "cannot read";
    case TESPARSER_MISFIT: return "misfit";
    case TESPARSER_TOO_LARGE: return "too large";
    case TESPARSER_INTERNAL: return "internal fault";
    default: return "unknown reason";
  }
}

// From the build and not from the header, so that a test can hold the one against the other.
const char* tesparser_c_version(void) {
  return TESPARSER_C_PROJECT_VERSION;
}

void tesparser_free(void* memory) {
  std::free(memory);
}
