// Compressed bytes: by which program they were packed, and unpacking them piece by piece.
#ifndef REPLIES_PACKING_H_
#define REPLIES_PACKING_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace replies {

enum class Packing { kNone, kGzip, kBzip2, kXz, kZstd, kLz4 };

// As people call it: "gzip".
const char* NameOf(Packing packing);

// Told by the first bytes of a source. Null while more of them may still make it one. A pure function.
std::optional<Packing> RecognisePacking(std::string_view begin);

// Where bytes are written.
struct Room {
  char* to = nullptr;
  size_t size = 0;

  void Take(size_t taken) {
    to += taken;
    size -= taken;
  }
};

// Unpacks one packed stream after the other, each to its end.
class Unpacker {
 public:
  virtual ~Unpacker() = default;

  enum class Step {
    kMore,    // goes on with more input, or with more room
    kEnd,     // a stream has ended, and its checksum fits; the next step begins another one
    kBroken,  // what was unpacked so far has been given
  };

  // Takes bytes from the front of `packed`, which may be empty, and writes to the front of `room`. Both are
  // shortened by that. Says in `why` what is broken. Throws std::bad_alloc.
  virtual Step Unpack(std::string_view* packed, Room* room, std::string* why) = 0;
};

// Of any packing but kNone. Its memory is bounded, at worst by what xz may ask for: 1 GB.
std::unique_ptr<Unpacker> MakeUnpacker(Packing packing);

}  // namespace replies

#endif  // REPLIES_PACKING_H_
