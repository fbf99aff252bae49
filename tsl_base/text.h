/* Text of table cells: replies carry UTF-8, the terminal's display code reads GB2312. */
#ifndef TSL_BASE_TEXT_H_
#define TSL_BASE_TEXT_H_

#include <string>

#include "tsl_base/export.h"

/* What KeepUtf8 below calls, for other languages: keeps (1) or transcodes (0) the texts of the calling thread
 * from now on. Returns what was set before, 0 at first; put that back. */
extern "C" TSL_BASE_API int tsl_base_keep_utf8(int keep);

namespace tsl_base {

/* Transcoding. All functions are static, keep no state and may run on any number of threads at once. */
class TSL_BASE_API text {
 public:
  /* Transcodes UTF-8 to GB2312, in the extent of code page 936: characters of GB2312 and the further ones of
   * GBK get their two bytes, the Euro sign its one (0x80), and ASCII passes through. Anything else becomes
   * one '?': a character without a code there, and every maximal ill-formed UTF-8 sequence.
   *
   * utf8      zero-terminated; null counts as the empty text. Only read.
   * Returns   the text as a string of its own, never longer than the input.
   * Errors    std::bad_alloc when memory is exhausted; no input is an error.
   */
  static std::string Utf8toGb2312(const char* utf8);

  /* The same over the whole length of the string: zero bytes pass through like any other ASCII. */
  static std::string Utf8toGb2312(const std::string& utf8);

  /* Transcodes cells' text, GB2312 in the extent of code page 936, to UTF-8. What Utf8toGb2312() made comes
   * back as it was, but for the '?' that it put in place of others. In other bytes every one that begins no
   * code becomes one U+FFFD, and so does a pair of lead and trail byte without a character. ASCII passes
   * through, behind a lead byte too if the two are no character.
   *
   * gb2312    zero-terminated; null counts as the empty text. Only read.
   * Returns   the text as a string of its own, valid UTF-8, at most three times as long as the input.
   * Errors    std::bad_alloc when memory is exhausted; no input is an error.
   */
  static std::string Gb2312ToUtf8(const char* gb2312);

  /* The same over the whole length of the string, zero bytes included. */
  static std::string Gb2312ToUtf8(const std::string& gb2312);
};

/* For routes that end in UTF-8 anyway: while one lives on a thread, Utf8toGb2312() gives its text as it came
 * on that thread, ill-formed bytes included. Tables that are made meanwhile hold UTF-8 in all their texts.
 * May be nested. It belongs to the thread and the scope that made it; a host's own base library has none of
 * it.
 */
class KeepUtf8 {
 public:
  KeepUtf8() : before_(tsl_base_keep_utf8(1)) {}
  ~KeepUtf8() { tsl_base_keep_utf8(before_); }
  KeepUtf8(const KeepUtf8&) = delete;
  KeepUtf8& operator=(const KeepUtf8&) = delete;

 private:
  int before_;
};

}  // namespace tsl_base

#endif /* TSL_BASE_TEXT_H_ */
