#include "tesview/terminal/split_files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "replies/packer.h"
#include "replies/text.h"
#include "tesview/terminal/interrupt.h"
#include "tesview/terminal/leftovers.h"
#include "tesview/terminal/output.h"
#include "tesview/terminal/output_file.h"

namespace tesview {
namespace {

// A stream can have any number of instruments; so many files are more than anybody wants.
constexpr size_t kMostFiles = 100'000;
// What waits in memory: in all, and of one file.
constexpr size_t kMostWaiting = size_t{32} << 20;
constexpr size_t kMostWaitingOfOne = size_t{1} << 20;
// File systems take names of 255 bytes, and other text is around this.
constexpr size_t kLongestName = 100;

[[noreturn]] void FailToSplit(const std::string& path) {
  throw OutputError(fmt::format("cannot write {}: {}", path, std::strerror(errno)));
}

void AppendPercent(std::string* to, std::string_view bytes) {
  for (const char c : bytes)
    *to += fmt::format("%{:02X}", static_cast<unsigned char>(c));
}

size_t CharacterAt(std::string_view text, size_t at) {
  size_t size = 1;
  while (at + size < text.size() && (static_cast<unsigned char>(text[at + size]) & 0xC0) == 0x80)
    ++size;
  return size;
}

// The part of the pattern that no value changes, as a directory.
std::string FixedDirectory(const std::string& pattern) {
  const size_t slash = pattern.rfind('/', pattern.find('{'));
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : pattern.substr(0, slash);
}

// Closed at the end of its life.
class Descriptor {
 public:
  Descriptor(const std::string& path, int flags) : fd_(open(path.c_str(), flags | O_CLOEXEC, 0666)) {
    if (fd_ < 0) FailToSplit(path);
  }
  ~Descriptor() { close(fd_); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int fd() const { return fd_; }

 private:
  int fd_;
};

void PackFile(const std::string& from, const std::string& to, Packing packing) {
  const Descriptor in(from, O_RDONLY);
  const Descriptor out(to, O_WRONLY | O_CREAT | O_TRUNC);
  Output output(out.fd());
  const auto packed = replies::MakePacker(packing, [&](std::string_view bytes) { output.WriteBytes(bytes); });
  std::string block(size_t{256} * 1024, '\0');
  while (true) {
    if (WasInterrupted()) throw Interrupted();
    const ssize_t got = read(in.fd(), block.data(), block.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) FailToSplit(from);
    if (got == 0) break;
    packed->Add(std::string_view(block).substr(0, static_cast<size_t>(got)));
  }
  packed->End();
  output.Flush();
}

}  // namespace

std::string SafeName(std::string_view utf8) {
  std::string safe;
  for (size_t at = 0; at < utf8.size();) {
    const std::string_view character = utf8.substr(at, CharacterAt(utf8, at));
    const char c = character[0];
    const bool point = c == '.' && at == 0;
    const bool meant = c == '/' || c == '\\' || c == '%' || (c == '(' && at == 0);
    if (point || meant || replies::Printable(character) != character) {
      AppendPercent(&safe, character);
    } else {
      safe += character;
    }
    at += character.size();
  }
  return safe;
}

SplitFiles::SplitFiles(std::string pattern, bool replace, std::string start)
    : pattern_(std::move(pattern)),
      replace_(replace),
      start_(std::move(start)),
      packing_(PackingOf(pattern_)) {}

SplitFiles::~SplitFiles() {
  for (size_t i = 0; i < files_; ++i)
    unlink(NameOf(i).c_str());
  if (!directory_.empty()) rmdir(directory_.c_str());
  ForgetLeftover();
  // Only those that are empty go: none where the files got their names.
  std::for_each(made_.rbegin(), made_.rend(), [](const std::string& made) { rmdir(made.c_str()); });
}

std::string SplitFiles::NameOf(size_t number) const {
  return fmt::format("{}/{}", directory_, number);
}

void SplitFiles::MakeDirectories(const std::string& path) {
  for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
    const std::string each = path.substr(0, slash);
    if (mkdir(each.c_str(), 0777) == 0) {
      made_.push_back(each);
    } else if (errno != EEXIST) {
      FailToSplit(each);
    }
    if (slash == std::string::npos) return;
  }
}

void SplitFiles::Begin() {
  const std::string fixed = FixedDirectory(pattern_);
  MakeDirectories(fixed);
  for (int i = 0;; ++i) {
    directory_ = fmt::format("{}/.tesview-{}-{}.part", fixed, getpid(), i);
    if (mkdir(directory_.c_str(), 0777) == 0) break;
    if (errno == EEXIST) continue;
    const std::string failed = std::exchange(directory_, std::string());
    FailToSplit(failed);
  }
  KeepLeftover(directory_);
}

// A long name is cut; its number keeps it apart from others.
std::string SplitFiles::ShortName(const std::string& safe) {
  if (safe.size() <= kLongestName) return safe;
  const auto [at, is_new] = short_names_.try_emplace(safe);
  if (!is_new) return at->second;
  size_t end = 0;
  while (end < kLongestName) {
    const size_t size = safe[end] == '%' ? 3 : CharacterAt(safe, end);
    if (end + size > kLongestName) break;
    end += size;
  }
  // What comes of a word has no '~' behind its '%'.
  at->second = fmt::format("{}%~{}", safe.substr(0, end), short_names_.size());
  return at->second;
}

std::string SplitFiles::PathOf(const Placeholders& values) {
  std::string path;
  for (size_t at = 0; at < pattern_.size();) {
    const auto found = std::find_if(values.begin(), values.end(), [&](const auto& each) {
      return pattern_.compare(at, each.first.size(), each.first) == 0;
    });
    if (found == values.end()) {
      path += pattern_[at++];
    } else {
      path += ShortName(found->second);
      at += found->first.size();
    }
  }
  return path;
}

SplitFiles::Part* SplitFiles::PartOf(const Placeholders& values, const std::string& header) {
  const auto [at, is_new] = parts_.try_emplace(PathOf(values));
  Part& part = at->second;
  if (!is_new) return &part;
  part.path = &at->first;
  if (parts_.size() > kMostFiles)
    throw OutputError(fmt::format("--split-by would make more than {} files", kMostFiles));
  CheckPlace(*part.path, replace_);
  if (directory_.empty()) Begin();
  part.header = &*headers_.insert(header).first;
  part.number = files_++;
  CountLeftovers(static_cast<int>(files_));
  part.waiting = start_ + header;
  waiting_ += part.waiting.size();
  return &part;
}

bool SplitFiles::Add(const Placeholders& values, const std::string& header, std::string_view lines) {
  Part* part = PartOf(values, header);
  if (*part->header != header) return false;
  part->waiting += lines;
  waiting_ += lines.size();
  if (part->waiting.size() >= kMostWaitingOfOne) Append(part);
  if (waiting_ >= kMostWaiting) AppendLargest();
  return true;
}

void SplitFiles::Append(Part* part) {
  const Descriptor file(NameOf(part->number), O_WRONLY | O_CREAT | O_APPEND);
  Output output(file.fd());
  output.WriteBytes(part->waiting);
  output.Flush();
  waiting_ -= part->waiting.size();
  std::string().swap(part->waiting);
}

// Half of what waits, in as few pieces as there are.
void SplitFiles::AppendLargest() {
  std::vector<Part*> parts;
  for (auto& [path, part] : parts_)
    parts.push_back(&part);
  std::sort(parts.begin(), parts.end(),
            [](const Part* a, const Part* b) { return a->waiting.size() > b->waiting.size(); });
  for (Part* part : parts) {
    if (waiting_ < kMostWaiting / 2) return;
    Append(part);
  }
}

// The part becomes one of another number.
void SplitFiles::Pack(size_t number) {
  const size_t packed = files_++;
  CountLeftovers(static_cast<int>(files_));
  PackFile(NameOf(number), NameOf(packed), packing_);
  unlink(NameOf(number).c_str());
}

void SplitFiles::NameAll(const std::vector<const Part*>& parts, std::vector<std::string>* named) {
  for (const Part* part : parts) {
    const size_t slash = part->path->rfind('/');
    if (slash != std::string::npos && slash != 0) MakeDirectories(part->path->substr(0, slash));
    NameFile(NameOf(part->number), *part->path, replace_);
    named->push_back(*part->path);
  }
}

void SplitFiles::Commit() {
  std::vector<const Part*> parts;
  for (auto& [path, part] : parts_) {
    if (WasInterrupted()) throw Interrupted();
    if (!part.waiting.empty()) Append(&part);
    if (packing_ != Packing::kNone) {
      Pack(part.number);
      part.number = files_ - 1;
    }
    parts.push_back(&part);
  }
  std::vector<std::string> named;
  try {
    NameAll(parts, &named);
  } catch (const OutputError&) {
    // What was replaced is lost; what was not there goes again.
    for (const std::string& path : named) {
      if (!replace_) unlink(path.c_str());
    }
    throw;
  }
}

}  // namespace tesview
