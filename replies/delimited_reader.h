// Reads a stream of replies, each with its length before it.
#ifndef REPLIES_DELIMITED_READER_H_
#define REPLIES_DELIMITED_READER_H_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "replies/frames.h"
#include "replies/plain_frame.h"
#include "replies/reply_reader.h"
#include "replies/window.h"

namespace replies {

struct DelimitedOptions {
  Prefix prefix = Prefix::kVarint;
  bool resync = true;  // goes on behind damage
  Part part;
  Choose choose;  // may be empty
};

class DelimitedReader : public FormReader {
 public:
  // The window stays the caller's, and stands where the part begins.
  DelimitedReader(Window* window, DelimitedOptions options) : window_(window), options_(std::move(options)) {}

  Next Read(Reply* reply, std::string* error) override;

 private:
  enum class Verdict {
    kGood,
    kCutOff,   // the source ends inside it
    kDamaged,  // nothing says where the next one begins
  };
  // What is wrong with a frame.
  struct Trouble {
    std::string what;
    size_t next = 0;  // where another one begins inside it, in the window; 0 if that is not known
  };

  void FindFirst();
  bool FindPlain(ReplyView* found);
  Next FindJudged(ReplyView* found, Trouble* trouble, uint64_t* lost);
  Verdict JudgeLength(size_t* prefix, uint64_t* size, Trouble* trouble);
  static Verdict ReachesOver(uint64_t size, size_t next, Trouble* trouble);
  Verdict JudgeLong(size_t prefix, uint64_t size, Trouble* trouble);
  Verdict JudgeContent(size_t prefix, size_t size, Trouble* trouble);
  Behind LookBehindFrame(size_t whole);
  Search FindInside(size_t whole);
  Next Skip(Verdict verdict, Trouble* trouble, uint64_t* lost);
  bool SkipToFrame(size_t from, uint64_t until);
  uint64_t Most() const;
  Effort* MoreEffort();

  Window* window_;
  DelimitedOptions options_;
  Effort effort_;
  uint64_t number_ = 0;
  uint64_t most_ = 0;  // Most(), once it is known
  // A frame that was an envelope when it was looked at from the one before.
  uint64_t looked_at_ = std::numeric_limits<uint64_t>::max();
  // A plain frame, and where it was seen from the one before.
  PlainFrame plain_;
  uint64_t plain_at_ = std::numeric_limits<uint64_t>::max();
  bool begun_ = false;
  bool done_ = false;
};

}  // namespace replies

#endif  // REPLIES_DELIMITED_READER_H_
