#include "replies/delimited_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "replies/wire.h"

namespace replies {
namespace {

constexpr uint64_t kNoLimit = std::numeric_limits<uint64_t>::max();

}  // namespace

uint64_t DelimitedReader::Most() const {
  return std::min<uint64_t>(kMaxReplyBytes, window_->MostAtOnce());
}

// Each byte of the source pays for a few looks at a field, so that no input makes them cost more than that.
Effort* DelimitedReader::MoreEffort() {
  constexpr uint64_t kFieldsForAByte = 4;
  effort_.allowed = kFieldsForAByte * (window_->position() - options_.part.begin + window_->bytes().size());
  return &effort_;
}

// Looks no further than the frame's length, so that a slow stream is shown as it comes.
DelimitedReader::Verdict DelimitedReader::JudgeLength(size_t* prefix, uint64_t* size, Trouble* trouble) {
  while (true) {
    const PrefixStep step = ReadPrefix(window_->bytes(), options_.prefix, prefix, size);
    if (step == PrefixStep::kRead) break;
    if (step == PrefixStep::kBroken) {
      trouble->what = "its length is no varint; the stream is damaged here";
      return Verdict::kDamaged;
    }
    if (!window_->ReadMore()) {
      trouble->what = "the stream ends inside its length";
      return Verdict::kCutOff;
    }
  }
  if (*size <= Most()) return Verdict::kGood;
  trouble->what =
      *size > kMaxReplyBytes
          ? fmt::format("its length is given as {}, which no reply can have; the stream is damaged here",
                        *size)
          : fmt::format(
                "its length is given as {}, and out of compressed input a reply may have {} at most; "
                "if it has so many, unpack the input before",
                *size, Most());
  return Verdict::kDamaged;
}

DelimitedReader::Verdict DelimitedReader::ReachesOver(uint64_t size, size_t next, Trouble* trouble) {
  trouble->what = fmt::format("its length is given as {}, which reaches over replies behind it", size);
  trouble->next = next;
  return Verdict::kDamaged;
}

// Before the rest of a long one is waited for: a wrong length may reach far.
DelimitedReader::Verdict DelimitedReader::JudgeLong(size_t prefix, uint64_t size, Trouble* trouble) {
  if (prefix + size <= kLookAhead || !window_->Fill(kLookAhead)) return Verdict::kGood;
  const std::string_view content = window_->bytes().substr(prefix);
  bool has_payload = false;
  const size_t there = static_cast<size_t>(std::min<uint64_t>(size, content.size()));
  if (LookAtEnvelope(content.substr(0, there), size, MoreEffort(), &has_payload) != Look::kNo)
    return Verdict::kGood;
  const size_t end = prefix + static_cast<size_t>(size);
  const Search search = FindFrame(window_->bytes(), 1, end, false, options_.prefix, Most(), MoreEffort());
  if (search.result != Search::kFound) return Verdict::kGood;
  return ReachesOver(size, search.at, trouble);
}

Behind DelimitedReader::LookBehindFrame(size_t whole) {
  Look look = Look::kNo;
  const Behind behind = LookBehind(window_->bytes(), whole, window_->ended(), options_.prefix, Most(), &look);
  if (look == Look::kWhole) looked_at_ = window_->position() + whole;
  return behind;
}

// Where a frame begins inside the one at the front of the window.
Search DelimitedReader::FindInside(size_t whole) {
  if (!window_->MayWait()) window_->Fill(whole + kLookAhead);
  return FindFrame(window_->bytes(), 1, whole, window_->ended(), options_.prefix, Most(), MoreEffort());
}

// A frame is given if its content is an envelope or if the stream goes on at its end; what is wrong with it
// then shows when it is decoded. But a length that is wrong, or right and the content cut off, may reach over
// the replies behind it, which are looked for where not both hold. Where the stream ends is where replies of
// half a length are, so there too.
DelimitedReader::Verdict DelimitedReader::JudgeContent(size_t prefix, size_t size, Trouble* trouble) {
  const size_t whole = prefix + size;
  bool has_payload = false;
  const bool looked_at = looked_at_ == window_->position();
  while (true) {
    const Behind behind = LookBehindFrame(whole);
    if (behind == Behind::kCut && !window_->MayWait()) {
      window_->ReadMore();
      continue;
    }
    if (looked_at && behind == Behind::kReply) return Verdict::kGood;
    Effort few;
    Look look = LookAtEnvelope(window_->bytes().substr(prefix, size), size, &few, &has_payload);
    if (look != Look::kNo && behind == Behind::kReply) return Verdict::kGood;
    if (look == Look::kSoFar)
      look = LookAtEnvelope(window_->bytes().substr(prefix, size), size, MoreEffort(), &has_payload);
    const Search inside = FindInside(whole);
    if (inside.result == Search::kFound) return ReachesOver(size, inside.at, trouble);
    const bool undecided = inside.result == Search::kNeedsMore && !window_->ended();
    if (undecided && (!window_->MayWait() || !window_->HasPaused())) {
      window_->ReadMore();
      continue;
    }
    if (look != Look::kNo || behind == Behind::kReply || behind == Behind::kEnd) return Verdict::kGood;
    if (LooksLikeReply(window_->bytes().substr(prefix, size))) return Verdict::kGood;
    if (behind == Behind::kNoReply) break;
    // A source that may wait has given nothing behind it yet.
    if (window_->HasPaused()) return Verdict::kGood;
    window_->ReadMore();
  }
  trouble->what = fmt::format(
      "its length is given as {}, but it is no reply, and none begins behind it; the stream is damaged here",
      size);
  return Verdict::kDamaged;
}

// Drops what is in front of the next frame from `from` on; all of the source where there is none, or all as
// far as the offset `until`.
bool DelimitedReader::SkipToFrame(size_t from, uint64_t until) {
  while (window_->position() + from < until) {
    const Search search =
        FindFrame(window_->bytes(), from, kAnywhere, window_->ended(), options_.prefix, Most(), MoreEffort());
    window_->Drop(search.at);
    if (search.result == Search::kFound) return true;
    if (search.result == Search::kNone) return false;
    from = 0;
    window_->ReadMore();
  }
  return false;
}

Next DelimitedReader::Skip(Verdict verdict, Trouble* trouble, uint64_t* lost) {
  if (!options_.resync) {
    done_ = true;
    return Next::kBad;
  }
  const uint64_t begin = window_->position();
  if (trouble->next != 0) window_->Drop(trouble->next);
  done_ = trouble->next == 0 && !SkipToFrame(1, kNoLimit);
  *lost = window_->position() - begin;
  if (!done_) {
    trouble->what += fmt::format("; {} bytes skipped, up to offset {}", *lost, window_->position());
  } else if (verdict == Verdict::kDamaged) {
    trouble->what += fmt::format("; {} bytes skipped, up to the end", *lost);
  }
  return Next::kBad;
}

// A part begins where a reply does, or where one is looked for.
void DelimitedReader::FindFirst() {
  begun_ = true;
  number_ = options_.part.before;
  if (options_.part.search && window_->Fill(1)) done_ = !SkipToFrame(0, options_.part.end);
}

// What the judgement below comes to where a plain frame has another one behind it, which nearly all have.
bool DelimitedReader::FindPlain(ReplyView* found) {
  const uint64_t position = window_->position();
  const std::string_view bytes = window_->bytes();
  if (!begun_ || done_ || position >= options_.part.end || bytes.size() < kPlainRoom) return false;
  if (most_ == 0) most_ = Most();
  PlainFrame frame = plain_;
  if (plain_at_ != position && !BeginsPlainFrame(bytes.data(), options_.prefix, most_, &frame)) return false;
  const uint32_t end = frame.end;
  if (bytes.size() < end + kPlainRoom ||
      !GoOverPlainFields(reinterpret_cast<const unsigned char*>(bytes.data()), end, &frame) ||
      !BeginsPlainFrame(bytes.data() + end, options_.prefix, most_, &plain_)) {
    plain_at_ = kNoLimit;
    return false;
  }
  plain_at_ = position + end;
  found->number = ++number_;
  found->offset = position;
  found->bytes = std::string_view(bytes.data() + frame.content, end - frame.content);
  return true;
}

// The next reply, which is in the window then.
Next DelimitedReader::FindJudged(ReplyView* found, Trouble* trouble, uint64_t* lost) {
  if (!begun_) FindFirst();
  if (done_ || window_->position() >= options_.part.end || !window_->Fill(1)) return Next::kEnd;
  found->number = ++number_;
  found->offset = window_->position();
  size_t prefix = 0;
  uint64_t size = 0;
  Verdict verdict = JudgeLength(&prefix, &size, trouble);
  if (verdict == Verdict::kGood && options_.resync) verdict = JudgeLong(prefix, size, trouble);
  if (verdict != Verdict::kGood) return Skip(verdict, trouble, lost);
  if (!window_->Fill(prefix + static_cast<size_t>(size))) {
    trouble->what = fmt::format("its length is given as {}, but the stream ends after {} bytes", size,
                                window_->bytes().size() - prefix);
    return Skip(Verdict::kCutOff, trouble, lost);
  }
  if (options_.resync) verdict = JudgeContent(prefix, static_cast<size_t>(size), trouble);
  if (verdict != Verdict::kGood) return Skip(verdict, trouble, lost);
  found->bytes = window_->bytes().substr(prefix, static_cast<size_t>(size));
  return Next::kReply;
}

Next DelimitedReader::Read(Reply* reply, std::string* error) {
  while (true) {
    ReplyView found;
    if (!FindPlain(&found)) {
      Trouble trouble;
      const Next next = FindJudged(&found, &trouble, &reply->lost);
      reply->number = found.number;
      reply->offset = found.offset;
      if (next == Next::kBad)
        *error = fmt::format("reply {} at offset {}: {}", found.number, found.offset, trouble.what);
      if (next != Next::kReply) return next;
    }
    const bool wanted = !options_.choose || options_.choose(found);
    if (wanted) {
      reply->number = found.number;
      reply->offset = found.offset;
      reply->bytes.assign(found.bytes);
    }
    window_->Drop(static_cast<size_t>(found.bytes.data() + found.bytes.size() - window_->bytes().data()));
    if (wanted) return Next::kReply;
  }
}

}  // namespace replies
