#include "tesview/terminal/leftovers.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstddef>
#include <cstring>

namespace tesview {
namespace {

constexpr size_t kRoomForNumber = 16;

std::array<char, PATH_MAX> leftover_path;
std::atomic<size_t> leftover_size{0};  // 0 while there is none
std::atomic<int> leftover_files{0};

// Behind the path, without the library's means, which a signal handler may not use.
void WriteName(char* to, int number) {
  std::array<char, kRoomForNumber> digits{};
  size_t count = 0;
  do {
    digits[count++] = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  *to++ = '/';
  while (count != 0)
    *to++ = digits[--count];
  *to = '\0';
}

}  // namespace

void KeepLeftover(const std::string& path) {
  if (path.size() + kRoomForNumber + 1 > leftover_path.size()) return;
  std::memcpy(leftover_path.data(), path.c_str(), path.size() + 1);
  leftover_files = 0;
  leftover_size = path.size();
}

void CountLeftovers(int files) {
  leftover_files = files;
}

void ForgetLeftover() {
  leftover_size = 0;
}

void RemoveLeftover() {
  const size_t size = leftover_size;
  if (size == 0) return;
  std::array<char, PATH_MAX> path;
  std::memcpy(path.data(), leftover_path.data(), size + 1);
  for (int i = 0; i < leftover_files; ++i) {
    WriteName(path.data() + size, i);
    unlink(path.data());
  }
  path[size] = '\0';
  if (unlink(path.data()) != 0) rmdir(path.data());
}

}  // namespace tesview
