// The replies of a source, one by one.
//
// Memory is that of one reply and of a fixed block, however long the source is. A size that the input
// announces is never trusted: memory grows with the bytes that arrive. What has come whole is given before
// more is waited for.
//
// A stream of replies with their lengths may be damaged: stray bytes in it, lengths that are wrong, replies
// that a writer left half written. What is damaged is one item, with its offset and the bytes that were
// passed over, and the reading goes on with the next reply. None that is whole is lost.
#ifndef REPLIES_REPLY_READER_H_
#define REPLIES_REPLY_READER_H_

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "replies/byte_source.h"
#include "replies/form.h"
#include "replies/recognise.h"
#include "replies/window.h"

namespace replies {

struct Reply {
  std::string bytes;
  uint64_t number = 0;  // from 1, within its source
  uint64_t offset = 0;  // where it begins in the source; in a log, where its line does
  uint64_t lost = 0;    // with Next::kBad of a stream, the bytes from there on that were passed over
};

// A reply where it was read.
struct ReplyView {
  std::string_view bytes;  // until the next read
  uint64_t number = 0;
  uint64_t offset = 0;
};

// Whether a reply is wanted.
using Choose = std::function<bool(const ReplyView& reply)>;

enum class Next {
  kReply,
  kBad,  // something is lost; the next call goes on behind it
  kEnd,
};

// Of a stream, the replies that begin in [begin, end).
struct Part {
  uint64_t begin = 0;
  uint64_t end = std::numeric_limits<uint64_t>::max();
  bool search = false;  // `begin` is any byte of the stream; the first reply behind it is looked for
  uint64_t before = 0;  // replies of the stream that are in front of it, for the numbers of those in it
};

// Lines in which something begins like a reply and is none: digits that were cut off or damaged.
struct Lookalikes {
  uint64_t lines = 0;
  uint64_t first_line = 0;  // from 1; 0 if there is none
};

// The text form needs the schema, which is none of this file's business. Gives the bytes, or false and why.
using TextParser = std::function<bool(const std::string& text, std::string* bytes, std::string* error)>;

// Reads replies of one form.
class FormReader {
 public:
  virtual ~FormReader() = default;
  virtual Next Read(Reply* reply, std::string* error) = 0;
  virtual Lookalikes lookalikes() const { return Lookalikes(); }
};

class ReplyReader {
 public:
  // The source stays the caller's.
  ReplyReader(ByteSource* source, Form form, TextParser text_parser)
      : window_(source), asked_(form), text_parser_(std::move(text_parser)) {}

  // A part of a stream, of a form that has lengths: the source stands at its begin. Offsets are those in the
  // whole stream. Damage at the end is told with all that was
  // passed over, also behind the part.
  ReplyReader(ByteSource* source, Form form, const Part& part)
      : window_(source, part.begin), asked_(form), part_(part) {}

  // A stream is read no further than to its first damage.
  void StopAtDamage() { resync_ = false; }

  // Only replies for which `choose` gives true are given by Read(). It is called once for each, in their
  // order, and before the reply is copied; the others are passed over at the cost of finding them. They count
  // in the numbers of the replies behind them.
  void OnlyIf(Choose choose) { choose_ = std::move(choose); }

  // The next reply, or what is wrong with it in `error`: a sentence without the source's name, with the
  // reply's number and offset where there are several. `reply` has both then as well. Throws what the source
  // throws, and InputError if the source holds no replies; what was whole before is given first.
  Next Read(Reply* reply, std::string* error);

  // Finds out what the source holds, as the first Read() does otherwise. Throws what that throws.
  Form FindForm();
  // What the source holds; kRaw until one of them has been called.
  Form form() const { return format_.form; }
  // Whether the source may hold more than one reply.
  bool many() const { return format_.many(); }
  // Bytes of the source that have been dealt with.
  uint64_t position() const { return window_.position(); }
  // In the lines that have been read, where each line has replies of its own.
  Lookalikes lookalikes() const {
    return form_reader_ == nullptr ? Lookalikes() : form_reader_->lookalikes();
  }

 private:
  Format FindFormat();
  void Open();

  Window window_;
  Form asked_;
  Part part_;
  bool resync_ = true;
  TextParser text_parser_;
  Choose choose_;
  Format format_;
  std::unique_ptr<FormReader> form_reader_;
};

}  // namespace replies

#endif  // REPLIES_REPLY_READER_H_
