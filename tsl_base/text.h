/* Text of table cells: the terminal's display code reads GB2312, replies carry UTF-8. */
#ifndef TSL_BASE_TEXT_H_
#define TSL_BASE_TEXT_H_

#include <string>

#include "tsl_base/export.h"

namespace tsl_base {

/* Transcoding. All functions are static, keep no state and may run on any number of threads at once. */
class TSL_BASE_API text {
 public:
  /* Transcodes UTF-8 to GB2312, in the extent of code page 936: characters of GB2312 and the further ones of
   * GBK get their two bytes, ASCII passes through, and anything else becomes one '?': a character without a
   * code there, and every maximal ill-formed UTF-8 sequence.
   *
   * utf8      zero-terminated; null counts as the empty text. Only read.
   * Returns   the text as a string of its own, never longer than the input.
   * Errors    std::bad_alloc when memory is exhausted; no input is an error.
   */
  static std::string Utf8toGb2312(const char* utf8);

  /* The same over the whole length of the string: zero bytes pass through like any other ASCII. */
  static std::string Utf8toGb2312(const std::string& utf8);
};

}  // namespace tsl_base

#endif /* TSL_BASE_TEXT_H_ */
