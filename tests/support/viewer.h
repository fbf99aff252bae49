// Runs the built viewer as people do.
#ifndef TESTS_SUPPORT_VIEWER_H_
#define TESTS_SUPPORT_VIEWER_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace viewer {

using Strings = std::vector<std::string>;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif
#else
inline constexpr bool kSanitized = false;
#endif

// The built program, or another build of it.
inline std::string Program() {
  const char* other = std::getenv("TESVIEW_PROGRAM");
  return other != nullptr ? other : TESVIEW;
}

inline program::Result View(const Strings& arguments, const program::How& how = program::How()) {
  Strings command{Program()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return program::Run(command, how);
}

// The bytes on standard input.
inline program::Result ViewBytes(const std::string& bytes, const Strings& arguments) {
  program::How how;
  how.input = bytes;
  return View(arguments, how);
}

inline Strings LinesOf(const std::string& text) {
  Strings lines;
  std::stringstream in(text);
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

// A directory of its own for each test, gone afterwards.
class Files : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "tesview-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory_ = name;
  }
  void TearDown() override { std::filesystem::remove_all(directory_); }

  std::string Write(const std::string& name, const std::string& bytes) {
    const std::filesystem::path path = std::filesystem::path(directory_) / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
    return path.string();
  }

  std::string directory_;
};

}  // namespace viewer

#endif  // TESTS_SUPPORT_VIEWER_H_
