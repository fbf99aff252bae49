// A file to write an output to, which is there when it is whole, and not before.
#ifndef TESVIEW_TERMINAL_OUTPUT_FILE_H_
#define TESVIEW_TERMINAL_OUTPUT_FILE_H_

#include <stdexcept>
#include <string>

namespace tesview {

// Something has that name and may not be replaced.
class FileIsThere : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws FileIsThere where no file of that name may be made: what is no file is never replaced.
void CheckPlace(const std::string& path, bool replace);

// Gives a file that is whole its name. Throws OutputError.
void NameFile(const std::string& part, const std::string& path, bool replace);

class OutputFile {
 public:
  // Begins a file beside `path`. What is there under that name stays as it is until Commit(), and is never
  // replaced unless `replace` is set. Throws FileIsThere, and OutputError where no file can be made.
  OutputFile(const std::string& path, bool replace);
  // What was not committed is gone.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  int fd() const { return fd_; }

  // Gives the file its name. Throws OutputError.
  void Commit();

 private:
  const std::string path_;
  const bool replace_;
  std::string part_;  // the name until then; empty afterwards
  int fd_ = -1;
};

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_OUTPUT_FILE_H_
