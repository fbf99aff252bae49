// Where replies come from: a source of bytes, the form in which it holds replies, and the replies one by one.
//
// Memory is that of one reply and of a fixed block, however long the source is. A size that the input
// announces is never trusted: memory grows with the bytes that arrive.
#ifndef REPLIES_REPLY_READER_H_
#define REPLIES_REPLY_READER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace replies {

enum class Form {
  kAuto,
  kRaw,        // the whole source is one reply
  kDelimited,  // replies, each with its length as a varint before it
  kHex,        // one reply a line, or one reply over all lines
  kBase64,     // the same
  kLines,      // a log: one reply in either of these forms in each line that has one
  kText,       // one reply in protobuf's text form
};

// The source cannot be read.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  // Up to `size` bytes; 0 at the end. Throws InputError.
  virtual size_t Read(char* to, size_t size) = 0;
};

class MemorySource : public ByteSource {
 public:
  explicit MemorySource(std::string_view bytes) : bytes_(bytes) {}
  size_t Read(char* to, size_t size) override;

 private:
  std::string_view bytes_;
};

struct Reply {
  std::string bytes;
  uint64_t number = 0;  // from 1, within its source
  uint64_t offset = 0;  // where it begins in the source
};

enum class Next {
  kReply,
  kBad,  // one reply is lost; the next call goes on behind it
  kEnd,
};

// The text form needs the schema, which is none of this file's business. Gives the bytes, or false and why.
using TextParser = std::function<bool(const std::string& text, std::string* bytes, std::string* error)>;

class ReplyReader {
 public:
  ReplyReader(ByteSource* source, Form form, TextParser text_parser)
      : source_(source), form_(form), text_parser_(std::move(text_parser)) {}

  // The next reply, or what is wrong with it in `error`: a sentence without the source's name, with the
  // reply's number and offset where there are several. Throws InputError when the source fails.
  Next Read(Reply* reply, std::string* error);

  // What the source holds, known once Read() has been called.
  Form form() const { return form_; }
  // Whether the source may hold more than one reply.
  bool many() const { return form_ == Form::kDelimited || by_line_; }
  // Bytes of the source that have been dealt with.
  uint64_t position() const { return position_; }

 private:
  bool Fill(size_t size);
  std::string_view Buffered() const { return std::string_view(buffer_).substr(begin_); }
  void Drop(size_t size);
  bool TakeAll(std::string* all, std::string* error);
  bool TakeLine(std::string* line);

  void Recognise();
  void RecogniseText();
  void RecogniseBinary();
  bool RecogniseWhole();
  bool RecogniseOverLines();
  bool GoesOn(std::string_view line);

  Next ReadWhole(Reply* reply, std::string* error);
  Next ReadDelimited(Reply* reply, std::string* error);
  Next ReadLine(Reply* reply, std::string* error);
  Next Bad(std::string* error, const std::string& what) const;
  Next Stop(std::string* error, const std::string& what);

  ByteSource* source_;
  Form form_;
  TextParser text_parser_;
  std::string buffer_;
  size_t begin_ = 0;
  uint64_t position_ = 0;
  uint64_t number_ = 0;
  bool source_ended_ = false;
  bool started_ = false;
  bool done_ = false;
  bool by_line_ = false;
  bool guessed_ = false;
  bool unrecognised_ = false;
  size_t column_ = 0;  // where the digits begin in each line of a reply over several lines

  // The last reply of a line, and the lines behind it as far as they look like a part of it.
  std::string joined_;
  size_t joined_column_ = 0;
};

// The bytes in one line, in the given form or, with Form::kAuto, in the form by which they look like a reply.
std::optional<std::string> BytesInLine(std::string_view line, Form form);

}  // namespace replies

#endif  // REPLIES_REPLY_READER_H_
