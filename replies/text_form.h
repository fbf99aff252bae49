// A reply in protobuf's text form, to bytes and back.
#ifndef REPLIES_TEXT_FORM_H_
#define REPLIES_TEXT_FORM_H_

#include <string>

namespace replies {

// False with line and column of what is wrong in `error`. With `partial`, required fields may be missing.
bool TextToBytes(const std::string& text, bool partial, std::string* bytes, std::string* error);

// False if the bytes are no reply; `error` then says why.
bool BytesToText(const std::string& bytes, std::string* text, std::string* error);

}  // namespace replies

#endif  // REPLIES_TEXT_FORM_H_
