// Files, directories and standard input as sources of bytes.
#ifndef REPLIES_SOURCE_H_
#define REPLIES_SOURCE_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "replies/reply_reader.h"

namespace tesview {

// The files to read, in order: a directory stands for the files in it and below it, by name, without hidden
// ones. What cannot be listed comes out in `errors`.
std::vector<std::string> ExpandPaths(const std::vector<std::string>& paths, std::vector<std::string>* errors);

class FileSource : public ByteSource {
 public:
  // "-" is standard input. Throws InputError.
  explicit FileSource(const std::string& path);
  ~FileSource() override;
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;

  // Throws Interrupted as well.
  size_t Read(char* to, size_t size) override;

  // Called before each read that may have to wait.
  void OnWait(std::function<void()> call) { on_wait_ = std::move(call); }

 private:
  int fd_;
  std::function<void()> on_wait_;
};

// The sizes of all files together; 0 if one of them has none.
uint64_t TotalSize(const std::vector<std::string>& paths);

// A whole file. Throws InputError.
std::string ReadWholeFile(const std::string& path);

}  // namespace tesview

#endif  // REPLIES_SOURCE_H_
