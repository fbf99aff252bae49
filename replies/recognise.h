// In which form a source holds replies, told by its first bytes.
#ifndef REPLIES_RECOGNISE_H_
#define REPLIES_RECOGNISE_H_

#include <cstddef>
#include <optional>
#include <string_view>

#include "replies/form.h"
#include "replies/frames.h"

namespace replies {

// What a source holds. Never kAuto.
struct Format {
  Form form = Form::kRaw;
  bool by_line = false;  // each line has replies of its own
  size_t column = 0;     // where the digits begin in each line of a reply over several lines
  bool certain = true;   // false if the bytes fit no form: the form is then the least unlikely one

  // Whether the source may hold more than one reply.
  bool many() const { return PrefixOf(form).has_value() || by_line; }
};

// How much of the source the bytes are.
enum class Extent {
  kWhole,
  kBlock,  // a first block, as large as is ever looked at
  kSoFar,  // what came before the source paused
};

// A pure function of its arguments. `asked` is the form that the user named, or kAuto. Null only for kSoFar,
// where the bytes hold nothing that can be shown before the rest has come.
std::optional<Format> Recognise(std::string_view bytes, Extent extent, Form asked);

}  // namespace replies

#endif  // REPLIES_RECOGNISE_H_
