#include "replies/source.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace replies {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kPause{100};

// What is found on the way. The sum is kept as long as every file has a size.
class Finder {
 public:
  void Path(const std::string& path);
  InputFiles Found() &&;

 private:
  void Directory(const fs::path& directory);
  void Entry(const fs::directory_entry& entry);
  void File(const std::string& path, std::optional<uint64_t> size);

  InputFiles found_;
  bool all_have_sizes_ = true;
};

void Finder::Path(const std::string& path) {
  struct stat status {};
  const bool known = path == "-" ? fstat(STDIN_FILENO, &status) == 0 : stat(path.c_str(), &status) == 0;
  if (known && path != "-" && S_ISDIR(status.st_mode)) return Directory(path);
  const bool sized = known && S_ISREG(status.st_mode);
  File(path, sized ? std::optional<uint64_t>(static_cast<uint64_t>(status.st_size)) : std::nullopt);
}

void Finder::Directory(const fs::path& directory) {
  std::error_code error;
  std::vector<fs::directory_entry> entries;
  for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error))
    entries.push_back(*at);
  if (error) {
    found_.errors.push_back(fmt::format("{}: cannot list it: {}", directory.string(), error.message()));
    return;
  }
  std::sort(entries.begin(), entries.end());
  for (const fs::directory_entry& entry : entries) {
    if (entry.path().filename().string()[0] != '.') Entry(entry);
  }
}

void Finder::Entry(const fs::directory_entry& entry) {
  std::error_code ignored;
  // Links to directories are not followed: they may lead back here. The listing itself says what is one.
  if (!entry.is_symlink(ignored) && entry.is_directory(ignored)) return Directory(entry.path());
  struct stat status {};
  if (stat(entry.path().c_str(), &status) == 0 && S_ISREG(status.st_mode))
    File(entry.path().string(), static_cast<uint64_t>(status.st_size));
}

void Finder::File(const std::string& path, std::optional<uint64_t> size) {
  found_.paths.push_back(path);
  found_.bytes += size.value_or(0);
  all_have_sizes_ = all_have_sizes_ && size.has_value();
}

InputFiles Finder::Found() && {
  if (!all_have_sizes_) found_.bytes = 0;
  return std::move(found_);
}

}  // namespace

InputFiles FindFiles(const std::vector<std::string>& paths) {
  Finder finder;
  for (const std::string& path : paths)
    finder.Path(path);
  return std::move(finder).Found();
}

namespace {

int OpenToRead(const std::string& path, const std::function<void()>& on_wait) {
  while (true) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0 || errno != EINTR) return fd;
    if (on_wait) on_wait();
  }
}

}  // namespace

FileSource::FileSource(const std::string& path, const std::function<void()>& on_wait)
    : fd_(path == "-" ? STDIN_FILENO : OpenToRead(path, on_wait)) {
  if (fd_ < 0) throw InputError(fmt::format("cannot open it: {}", std::strerror(errno)));
  struct stat status {};
  is_regular_ = fstat(fd_, &status) == 0 && S_ISREG(status.st_mode);
  if (is_regular_ && path != "-") size_ = static_cast<uint64_t>(status.st_size);
}

FileSource::~FileSource() {
  if (fd_ != STDIN_FILENO) close(fd_);
}

void FileSource::SkipTo(uint64_t offset) {
  if (!is_regular_ || lseek(fd_, static_cast<off_t>(offset), SEEK_SET) < 0)
    throw InputError(fmt::format("cannot be read from offset {} on", offset));
}

namespace {

// What a call that reads gave; null if a signal broke it.
std::optional<size_t> BytesGot(ssize_t got) {
  if (got >= 0) return static_cast<size_t>(got);
  if (errno != EINTR) throw InputError(fmt::format("cannot read it: {}", std::strerror(errno)));
  return std::nullopt;
}

}  // namespace

size_t FileSource::Read(char* to, size_t size) {
  while (true) {
    if (on_wait_) on_wait_();
    if (const auto got = BytesGot(read(fd_, to, size))) return *got;
  }
}

size_t FileSource::ReadAt(uint64_t offset, char* to, size_t size) const {
  while (true) {
    if (const auto got = BytesGot(pread(fd_, to, size, static_cast<off_t>(offset)))) return *got;
  }
}

bool FileSource::HasPaused() {
  const auto now = std::chrono::steady_clock::now();
  if (!pause_ends_) pause_ends_ = now + kPause;
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(*pause_ends_ - now);
  pollfd ready{fd_, POLLIN, 0};
  // What is there, an end and a signal are all for Read().
  if (poll(&ready, 1, static_cast<int>(std::max<int64_t>(0, left.count()))) != 0) return false;
  pause_ends_.reset();
  return true;
}

std::string ReadWholeFile(const std::string& path) {
  FileSource source(path);
  std::string all;
  size_t used = 0;
  while (true) {
    all.resize(used + size_t{64} * 1024);
    const size_t got = source.Read(all.data() + used, all.size() - used);
    used += got;
    if (got == 0) break;
  }
  all.resize(used);
  return all;
}

}  // namespace replies
