/* Text of table cells: replies carry UTF-8, the terminal's display code reads GB2312. */
#ifndef TSL_BASE_TEXT_H_
#define TSL_BASE_TEXT_H_

#include <string>

#include "tsl_base/export.h"

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

}  // namespace tsl_base

#endif /* TSL_BASE_TEXT_H_ */
