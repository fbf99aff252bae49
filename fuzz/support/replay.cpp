// Runs fuzz targets without a fuzzer, in any build: recorded inputs again, or fresh ones from a fixed seed.
//
//   fuzz_replay TARGET FILE_OR_FOLDER...
//   fuzz_replay TARGET --fresh COUNT SEED [FILE_OR_FOLDER...]     made from the files, if there are any
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/support/random.h"
#include "fuzz/support/target.h"

namespace {

namespace fs = std::filesystem;

const fuzz::Target* FindTarget(const char* name) {
  for (const fuzz::Target* target = fuzz::targets; target != nullptr; target = target->next) {
    if (std::strcmp(target->name, name) == 0) return target;
  }
  return nullptr;
}

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "fuzz_replay: %s: cannot be read\n", path.c_str());
    std::exit(2);
  }
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

std::vector<fs::path> Expand(char** from, char** to) {
  std::vector<fs::path> files;
  for (; from != to; ++from) {
    if (!fs::is_directory(*from)) {
      files.emplace_back(*from);
      continue;
    }
    for (const auto& entry : fs::directory_iterator(*from)) {
      if (entry.is_regular_file()) files.push_back(entry.path());
    }
  }
  return files;
}

// The bytes in a block of their own, so that a checker of memory sees a read behind their end.
void RunOn(const fuzz::Target& target, const std::string& input) {
  const std::vector<uint8_t> block(input.begin(), input.end());
  fuzz::RunTarget(target, block.data(), block.size());
}

std::string RandomBytes(fuzz::Random& random, size_t most) {
  std::string bytes(random.Below(most + 1), '\0');
  for (char& c : bytes)
    c = static_cast<char>(random.Below(256));
  return bytes;
}

using Pool = std::vector<std::string>;

const std::string& OneOf(const Pool& pool, fuzz::Random& random) {
  return pool[random.Below(pool.size())];
}

std::string SomePart(const std::string& text, fuzz::Random& random) {
  const size_t from = random.Below(text.size() + 1);
  return text.substr(from, random.Below(64));
}

// Bytes changed as bytes, a few times.
std::string Changed(std::string text, const Pool& pool, fuzz::Random& random) {
  for (uint64_t n = 1 + random.Below(6); n != 0; --n) {
    const size_t at = random.Below(text.size() + 1);
    switch (random.Below(6)) {
      case 0: text.erase(at, random.Below(32)); break;
      case 1: text.insert(at, RandomBytes(random, 8)); break;
      case 2: text.insert(at, SomePart(text, random)); break;
      case 3: text.insert(at, SomePart(OneOf(pool, random), random)); break;
      default:
        if (at < text.size()) text[at] = static_cast<char>(random.Below(256));
        break;
    }
  }
  return text;
}

std::string Fresh(const fuzz::Target& target, const std::string& from, const Pool& pool,
                  fuzz::Random& random) {
  if (target.mutate == nullptr) return Changed(from.substr(0, target.longest), pool, random);
  if (!random.OneIn(8)) return target.mutate(from, nullptr, target.longest, random.Next());
  return target.mutate(from, &OneOf(pool, random), target.longest, random.Next());
}

int RunFresh(const fuzz::Target& target, long count, uint64_t seed, const std::vector<fs::path>& files) {
  Pool pool;
  for (const fs::path& file : files)
    pool.push_back(ReadFile(file));
  if (pool.empty()) pool.emplace_back();
  fuzz::Random random(seed);
  std::string last;
  for (long i = 0; i < count; ++i) {
    // What was made is made more of, as deep inputs take many steps.
    if (random.OneIn(8)) last = OneOf(pool, random);
    last = Fresh(target, last, pool, random);
    if (last.size() > target.longest) last.resize(target.longest);
    RunOn(target, last);
  }
  std::printf("%s: %ld fresh inputs\n", target.name, count);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const fuzz::Target* target = argc >= 3 ? FindTarget(argv[1]) : nullptr;
  if (target == nullptr) {
    std::fprintf(stderr,
                 "usage: fuzz_replay TARGET FILE_OR_FOLDER...\n"
                 "       fuzz_replay TARGET --fresh COUNT SEED [FILE_OR_FOLDER...]\n"
                 "targets:");
    for (const fuzz::Target* known = fuzz::targets; known != nullptr; known = known->next)
      std::fprintf(stderr, " %s", known->name);
    std::fprintf(stderr, "\n");
    return 2;
  }
  if (std::strcmp(argv[2], "--fresh") == 0) {
    if (argc < 5) return 2;
    return RunFresh(*target, std::strtol(argv[3], nullptr, 10), std::strtoull(argv[4], nullptr, 10),
                    Expand(argv + 5, argv + argc));
  }
  const std::vector<fs::path> files = Expand(argv + 2, argv + argc);
  for (const fs::path& file : files)
    RunOn(*target, ReadFile(file));
  std::printf("%s: %zu inputs\n", target->name, files.size());
  return files.empty() ? 2 : 0;
}
