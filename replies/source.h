// Files, directories and standard input as sources of bytes.
#ifndef REPLIES_SOURCE_H_
#define REPLIES_SOURCE_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "replies/byte_source.h"

namespace replies {

struct InputFiles {
  std::vector<std::string> paths;
  std::vector<std::string> errors;  // what cannot be listed
  uint64_t bytes = 0;  // of all of them together; 0 if one of them has no size, as pipes have none
};

// The files to read, in order; "-" is standard input. A directory means the files in it and below it, by
// name, without hidden ones. Each path is looked up once.
InputFiles FindFiles(const std::vector<std::string>& paths);

class FileSource : public ByteSource {
 public:
  // "-" is standard input. Opening a pipe that nobody writes to waits: `on_wait` is called where a signal
  // broke that, and what it throws ends it. Throws InputError.
  explicit FileSource(const std::string& path, const std::function<void()>& on_wait = nullptr);
  ~FileSource() override;
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;

  size_t Read(char* to, size_t size) override;
  // True if nothing can be read for a tenth of a second: long enough for a program that writes a reply in
  // several pieces, too short for a person to notice. The time is counted from the first call, or from when
  // it last was true, so that a source which drips without end is looked at as well.
  bool HasPaused() override;
  // False of a regular file, whose end is always known.
  bool MayWait() const override { return !is_regular_; }

  // The bytes that a regular file has; null of anything else, and of standard input, which may begin in the
  // midst of one.
  std::optional<uint64_t> size() const { return size_; }
  // Up to `size` bytes of a file with a size from an offset on, for any thread; 0 at the end. Where the other
  // calls read does not change. Throws InputError.
  size_t ReadAt(uint64_t offset, char* to, size_t size) const;

  // Goes to an offset of a regular file. Throws InputError, also of anything else.
  void SkipTo(uint64_t offset);

  // Called before each read that may have to wait, and again when a signal broke the waiting. What it throws
  // ends the reading.
  void OnWait(std::function<void()> call) { on_wait_ = std::move(call); }

 private:
  int fd_;
  bool is_regular_ = false;
  std::optional<uint64_t> size_;
  std::function<void()> on_wait_;
  std::optional<std::chrono::steady_clock::time_point> pause_ends_;
};

// A whole file. Throws InputError.
std::string ReadWholeFile(const std::string& path);

}  // namespace replies

#endif  // REPLIES_SOURCE_H_
