#include "tesview/terminal/packing_of.h"

namespace tesview {
namespace {

struct PackingName {
  std::string_view ending;
  Packing packing;
};

constexpr PackingName kPackings[] = {{".gz", Packing::kGzip},
                                     {".bz2", Packing::kBzip2},
                                     {".xz", Packing::kXz},
                                     {".zst", Packing::kZstd},
                                     {".lz4", Packing::kLz4}};

const PackingName* FindPacking(std::string_view path) {
  for (const PackingName& each : kPackings) {
    const size_t size = each.ending.size();
    if (path.size() > size && path.substr(path.size() - size) == each.ending) return &each;
  }
  return nullptr;
}

}  // namespace

Packing PackingOf(std::string_view path) {
  const PackingName* found = FindPacking(path);
  return found == nullptr ? Packing::kNone : found->packing;
}

std::string_view WithoutPacking(std::string_view path) {
  const PackingName* found = FindPacking(path);
  return found == nullptr ? path : path.substr(0, path.size() - found->ending.size());
}

}  // namespace tesview
