// The forms in which a source holds replies.
#ifndef REPLIES_FORM_H_
#define REPLIES_FORM_H_

namespace replies {

enum class Form {
  kAuto,       // not known yet
  kRaw,        // the whole source is one reply
  kDelimited,  // replies, each with its length as a varint before it
  kHex,        // one reply a line, or one reply over all lines
  kBase64,     // the same
  kLines,      // a log: replies in either of these forms in the lines that have some
  kText,       // one reply in protobuf's text form
  kFixed32Be,  // replies, each with its length before it in four bytes, the highest first
  kFixed32Le,  // the same, the lowest first
};

// A word by which a value is asked for.
template <class T>
struct Word {
  const char* word;
  T value;
};

inline constexpr Word<Form> kFormWords[] = {{"auto", Form::kAuto},
                                            {"raw", Form::kRaw},
                                            {"delimited", Form::kDelimited},
                                            {"fixed32be", Form::kFixed32Be},
                                            {"fixed32le", Form::kFixed32Le},
                                            {"hex", Form::kHex},
                                            {"base64", Form::kBase64},
                                            {"lines", Form::kLines},
                                            {"text", Form::kText}};

}  // namespace replies

#endif  // REPLIES_FORM_H_
