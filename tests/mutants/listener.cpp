// Part of every test program while mutants are made: writes a line for each case, with the mutations that it
// reached.
//
// MUTANTS_CASES    the file to write: name, milliseconds, whether it passed, and "number:mark" for each, with
// tabs
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

class CaseListener : public testing::EmptyTestEventListener {
 public:
  CaseListener(const char* cases, const char* reached) : cases_(std::fopen(cases, "we")) {
    const int file = open(reached, O_RDWR | O_CLOEXEC);
    struct stat status;
    if (file < 0 || fstat(file, &status) != 0) std::abort();
    size_ = static_cast<size_t>(status.st_size);
    marks_ = static_cast<unsigned char*>(mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    if (cases_ == nullptr || marks_ == MAP_FAILED) std::abort();
    close(file);
  }

  // What was reached before the first case counts for each of them.
  void OnTestProgramStart(const testing::UnitTest&) override { Write("*", 0, true); }

  void OnTestEnd(const testing::TestInfo& test) override {
    Write(std::string(test.test_suite_name()) + "." + test.name(), test.result()->elapsed_time(),
          !test.result()->Failed());
  }

 private:
  void Write(const std::string& name, testing::TimeInMillis time, bool passed) {
    std::fprintf(cases_, "%s\t%lld\t%d\t", name.c_str(), static_cast<long long>(time), passed ? 1 : 0);
    for (size_t i = 0; i < size_; ++i)
      if (marks_[i] != 0) std::fprintf(cases_, "%zu:%d ", i, marks_[i]);
    std::fprintf(cases_, "\n");
    std::fflush(cases_);
    std::memset(marks_, 0, size_);
  }

  std::FILE* cases_;
  unsigned char* marks_;
  size_t size_;
};

const bool kListens = [] {
  const char* cases = std::getenv("MUTANTS_CASES");
  const char* reached = std::getenv("MUTANTS_REACHED");
  if (cases == nullptr || reached == nullptr) return false;
  testing::UnitTest::GetInstance()->listeners().Append(new CaseListener(cases, reached));
  // Programs that the tests start note what they reach, but are no tests of their own.
  unsetenv("MUTANTS_CASES");
  return true;
}();

}  // namespace
