// Compressing: what packing.h unpacks, written piece by piece.
#ifndef REPLIES_PACKER_H_
#define REPLIES_PACKER_H_

#include <functional>
#include <memory>
#include <string_view>

#include "replies/packing.h"

namespace replies {

// Packs bytes into one stream, as the program of that name does with its usual settings. The same bytes in
// the same pieces give the same stream: it holds neither a name nor a time.
class Packer {
 public:
  // Takes the packed bytes, up to some 64 KB at once. What it throws passes through.
  using Sink = std::function<void(std::string_view)>;

  virtual ~Packer() = default;

  // Both throw std::bad_alloc, and std::runtime_error where the library fails. The packer is of no use then.
  virtual void Add(std::string_view bytes) = 0;
  // Writes the rest, once. Without it what was written is no whole stream.
  virtual void End() = 0;
};

// Of any packing but kNone. Throws std::bad_alloc.
std::unique_ptr<Packer> MakePacker(Packing packing, Packer::Sink sink);

}  // namespace replies

#endif  // REPLIES_PACKER_H_
