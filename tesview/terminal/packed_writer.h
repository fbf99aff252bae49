// Compressed output: the form goes by the ending of the file's name.
#ifndef TESVIEW_TERMINAL_PACKED_WRITER_H_
#define TESVIEW_TERMINAL_PACKED_WRITER_H_

#include <exception>
#include <functional>
#include <string>
#include <string_view>

#include "replies/packing.h"

struct archive;

namespace tesview {

using replies::Packing;

// Of "quotes.csv.gz" kGzip.
Packing PackingOf(std::string_view path);
// "quotes.csv" of it.
std::string_view WithoutPacking(std::string_view path);

class PackedWriter {
 public:
  // Takes the compressed bytes. What it throws, Add() and End() throw.
  using Write = std::function<void(std::string_view)>;

  // Throws OutputError where the system cannot compress so.
  PackedWriter(Packing packing, Write write);
  ~PackedWriter();
  PackedWriter(const PackedWriter&) = delete;
  PackedWriter& operator=(const PackedWriter&) = delete;

  void Add(std::string_view bytes);
  // Writes the rest. Without it what was written is no whole file.
  void End();

 private:
  static long Take(struct archive*, void* self, const void* bytes, size_t size);
  void Check(long result);

  struct archive* archive_;
  const Write write_;
  std::exception_ptr failure_;
};

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_PACKED_WRITER_H_
