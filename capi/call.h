// What every call of the C face does: tell its reason, and let no exception out.
#ifndef CAPI_CALL_H_
#define CAPI_CALL_H_

#include <exception>
#include <new>
#include <stdexcept>
#include <string_view>

#include "capi/tesparser_c.h"
#include "replies/byte_source.h"
#include "replies/diagnosis.h"

namespace capi {

// None of these allocates, and all take a null error.
void Clear(tesparser_error* error) noexcept;
void Fail(tesparser_error* error, tesparser_reason reason, std::string_view message) noexcept;
void Fail(tesparser_error* error, const replies::Diagnosis& diagnosis) noexcept;

// The arguments `bytes` and `size` of a call. False, and why, for a null pointer with a length.
bool CheckBytes(const void* bytes, size_t size, tesparser_error* error) noexcept;

// What `call` returns, or `failure` if it throws.
template <typename Result, typename Call>
Result Guarded(tesparser_error* error, Result failure, Call call) noexcept {
  Clear(error);
  try {
    return call();
  } catch (const std::bad_alloc&) {
    Fail(error, TESPARSER_OUT_OF_MEMORY, "out of memory");
  } catch (const std::length_error&) {
    Fail(error, TESPARSER_OUT_OF_MEMORY, "more than a program can hold in memory");
  } catch (const replies::InputError& input) {
    Fail(error, TESPARSER_CANNOT_READ, input.what());
  } catch (const std::exception& other) {
    Fail(error, TESPARSER_INTERNAL, other.what());
  }
  return failure;
}

// The same of a call that tells by `error` alone.
template <typename Call>
void Guarded(tesparser_error* error, Call call) noexcept {
  Guarded<bool>(error, false, [&call] {
    call();
    return true;
  });
}

}  // namespace capi

#endif  // CAPI_CALL_H_
