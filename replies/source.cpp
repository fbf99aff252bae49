#include "replies/source.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "tesview/terminal/output.h"

namespace tesview {
namespace {

namespace fs = std::filesystem;

void ExpandDirectory(const fs::path& directory, std::vector<std::string>* files,
                     std::vector<std::string>* errors) {
  std::error_code error;
  std::vector<fs::path> entries;
  for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error))
    entries.push_back(at->path());
  if (error) {
    errors->push_back(fmt::format("{}: cannot list it: {}", directory.string(), error.message()));
    return;
  }
  std::sort(entries.begin(), entries.end());
  for (const fs::path& entry : entries) {
    if (entry.filename().string()[0] == '.') continue;
    std::error_code ignored;
    // Links to directories are not followed: they may lead back here.
    if (fs::is_directory(fs::symlink_status(entry, ignored))) {
      ExpandDirectory(entry, files, errors);
    } else if (fs::is_regular_file(entry, ignored)) {
      files->push_back(entry.string());
    }
  }
}

}  // namespace

std::vector<std::string> ExpandPaths(const std::vector<std::string>& paths,
                                     std::vector<std::string>* errors) {
  std::vector<std::string> files;
  for (const std::string& path : paths) {
    std::error_code ignored;
    if (path != "-" && fs::is_directory(path, ignored)) {
      ExpandDirectory(path, &files, errors);
    } else {
      files.push_back(path);
    }
  }
  return files;
}

FileSource::FileSource(const std::string& path)
    : fd_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (fd_ < 0) throw InputError(fmt::format("cannot open it: {}", std::strerror(errno)));
}

FileSource::~FileSource() {
  if (fd_ != STDIN_FILENO) close(fd_);
}

size_t FileSource::Read(char* to, size_t size) {
  if (on_wait_) on_wait_();
  while (true) {
    if (WasInterrupted()) throw Interrupted();
    const ssize_t got = read(fd_, to, size);
    if (got >= 0) return static_cast<size_t>(got);
    if (errno != EINTR) throw InputError(fmt::format("cannot read it: {}", std::strerror(errno)));
  }
}

uint64_t TotalSize(const std::vector<std::string>& paths) {
  uint64_t total = 0;
  for (const std::string& path : paths) {
    struct stat status {};
    const bool known = path == "-" ? fstat(STDIN_FILENO, &status) == 0 : stat(path.c_str(), &status) == 0;
    if (!known || !S_ISREG(status.st_mode)) return 0;
    total += static_cast<uint64_t>(status.st_size);
  }
  return total;
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

}  // namespace tesview
