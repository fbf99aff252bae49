#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "replies/encodings.h"
#include "replies/reply_reader.h"
#include "replies/source.h"
#include "replies/text_form.h"
#include "replies/wire.h"
#include "tesview/commands/commands.h"
#include "tesview/terminal/complain.h"

namespace tesview {

using replies::EncodeBase64;
using replies::EncodeHex;
using replies::InputError;
using replies::ReadWholeFile;
using replies::TextToBytes;

namespace {

std::string Delimited(const std::string& bytes) {
  std::string delimited;
  replies::AppendVarint(&delimited, bytes.size());
  return delimited + bytes;
}

// In four bytes, the highest first.
std::string AsFixed32(uint32_t value) {
  std::string bytes;
  for (const unsigned shift : {24U, 16U, 8U, 0U})
    bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}

std::string Packed(const std::string& bytes, PackForm form) {
  switch (form) {
    case PackForm::kRaw: return bytes;
    case PackForm::kDelimited: return Delimited(bytes);
    case PackForm::kFixed32Be: return AsFixed32(static_cast<uint32_t>(bytes.size())) + bytes;
    case PackForm::kFixed32Le: {
      const std::string length = AsFixed32(static_cast<uint32_t>(bytes.size()));
      return std::string(length.rbegin(), length.rend()) + bytes;
    }
    case PackForm::kHex: return EncodeHex(bytes) + "\n";
    case PackForm::kBase64: return EncodeBase64(bytes) + "\n";
  }
  return bytes;
}

std::string TextOf(const std::string& path) {
  try {
    return ReadWholeFile(path);
  } catch (const InputError& error) {
    throw InputError(fmt::format("{}: {}", path, error.what()));
  }
}

// A file that is written, or standard output.
class Target {
 public:
  Target(const std::string& path, Output* output) : output_(output) {
    if (path.empty()) return;
    fd_ = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd_ < 0) throw OutputError(fmt::format("{}: cannot write it: {}", path, std::strerror(errno)));
  }
  ~Target() {
    if (fd_ >= 0) close(fd_);
  }
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  void Write(std::string_view bytes) {
    if (fd_ < 0) return output_->WriteBytes(bytes);
    Output file(fd_);
    file.WriteBytes(bytes);
    file.Flush();
  }

 private:
  Output* output_;
  int fd_ = -1;
};

}  // namespace

void Answer(const PackRequest& request, Output* output, ExitCode* code) {
  // All of it is made before anything is written, so that an error leaves no half of a reply behind.
  std::string all;
  for (const std::string& path : request.paths) {
    std::string bytes;
    std::string error;
    if (!TextToBytes(TextOf(path), request.partial, &bytes, &error)) {
      Complain(fmt::format("{}: {}", path == "-" ? "(standard input)" : path, error));
      *code = kSomeNotShown;
      return;
    }
    all += Packed(bytes, request.form);
  }
  Target(request.output, output).Write(all);
}

}  // namespace tesview
