#include "tesview/terminal/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tesview/terminal/leftovers.h"
#include "tesview/terminal/output.h"

namespace tesview {
namespace {

constexpr int kMostTries = 100;

[[noreturn]] void FailToWrite(const std::string& path) {
  throw OutputError(fmt::format("cannot write {}: {}", path, std::strerror(errno)));
}

}  // namespace

void CheckPlace(const std::string& path, bool replace) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0) return;
  if (!S_ISREG(found.st_mode)) throw FileIsThere(path + " is there and is no file");
  if (!replace) throw FileIsThere(path + " is there already; --force replaces it");
}

void NameFile(const std::string& part, const std::string& path, bool replace) {
  // A link is never made over a file that came meanwhile. Where there are no links the moment between looking
  // and renaming has to do.
  if (!replace && link(part.c_str(), path.c_str()) == 0) {
    unlink(part.c_str());
    return;
  }
  if (!replace && (errno == EEXIST || access(path.c_str(), F_OK) == 0)) {
    errno = EEXIST;
    FailToWrite(path);
  }
  if (rename(part.c_str(), path.c_str()) != 0) FailToWrite(path);
}

OutputFile::OutputFile(const std::string& path, bool replace) : path_(path), replace_(replace) {
  CheckPlace(path, replace);
  // What an earlier process of that number left behind, when it was killed, is not taken.
  for (int i = 0; fd_ < 0 && i < kMostTries; ++i) {
    part_ = fmt::format("{}.{}-{}.part", path, getpid(), i);
    fd_ = open(part_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd_ < 0 && errno != EEXIST) break;
  }
  if (fd_ < 0) FailToWrite(path);
  KeepLeftover(part_);
}

OutputFile::~OutputFile() {
  if (fd_ >= 0) close(fd_);
  if (!part_.empty()) unlink(part_.c_str());
  ForgetLeftover();
}

void OutputFile::Commit() {
  const int closed = close(fd_);
  fd_ = -1;
  if (closed != 0) FailToWrite(path_);
  NameFile(part_, path_, replace_);
  part_.clear();
}

}  // namespace tesview
