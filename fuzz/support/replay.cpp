// Runs fuzz targets without a fuzzer, in any build: recorded inputs again, or fresh ones from a fixed seed.
//
//   fuzz_replay TARGET INPUT...
//   fuzz_replay TARGET --fresh COUNT SEED [INPUT...]     made from the inputs, if there are any
//   fuzz_replay --list                                   name, longest input and kind of each target
//
// An INPUT is a file, a folder of files, or --texts FOLDER, which only targets that read texts take.
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

void AddFiles(const fs::path& path, std::vector<fs::path>* files) {
  if (!fs::is_directory(path)) return files->push_back(path);
  for (const auto& entry : fs::directory_iterator(path)) {
    if (entry.is_regular_file()) files->push_back(entry.path());
  }
}

std::vector<fs::path> Expand(const fuzz::Target& target, char** from, char** to) {
  std::vector<fs::path> files;
  for (; from != to; ++from) {
    const bool texts = std::strcmp(*from, "--texts") == 0 && from + 1 != to;
    if (texts) ++from;
    if (!texts || target.kind == fuzz::Kind::kTexts) AddFiles(*from, &files);
  }
  return files;
}

// The bytes in a block of their own, so that a checker of memory sees a read behind their end.
void RunOn(const fuzz::Target& target, const std::string& input) {
  const std::vector<uint8_t> block(input.begin(), input.end());
  fuzz::RunTarget(target, block.data(), block.size());
}

std::string RandomBytes(fuzz::Random& random, size_t most) {
  std::string bytes(random.Index(most + 1), '\0');
  for (char& c : bytes)
    c = static_cast<char>(random.Below(256));
  return bytes;
}

using Pool = std::vector<std::string>;

const std::string& OneOf(const Pool& pool, fuzz::Random& random) {
  return pool[random.Index(pool.size())];
}

std::string SomePart(const std::string& text, fuzz::Random& random) {
  const size_t from = random.Index(text.size() + 1);
  return text.substr(from, random.Index(64));
}

// Bytes changed as bytes, a few times.
std::string Changed(std::string text, const Pool& pool, fuzz::Random& random) {
  for (uint64_t n = 1 + random.Below(6); n != 0; --n) {
    const size_t at = random.Index(text.size() + 1);
    switch (random.Below(6)) {
      case 0: text.erase(at, random.Index(32)); break;
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

const char* NameOf(fuzz::Kind kind) {
  switch (kind) {
    case fuzz::Kind::kBytes: return "bytes";
    case fuzz::Kind::kTexts: return "texts";
    case fuzz::Kind::kReplies: return "replies";
  }
  return "";
}

int List() {
  for (const fuzz::Target* target = fuzz::targets; target != nullptr; target = target->next)
    std::printf("%s %zu %s\n", target->name, target->longest, NameOf(target->kind));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--list") == 0) return List();
  const fuzz::Target* target = argc >= 3 ? FindTarget(argv[1]) : nullptr;
  if (target == nullptr) {
    std::fprintf(stderr,
                 "usage: fuzz_replay TARGET INPUT...\n"
                 "       fuzz_replay TARGET --fresh COUNT SEED [INPUT...]\n"
                 "       fuzz_replay --list\n"
                 "An INPUT is a file, a folder of files, or --texts FOLDER.\n");
    return 2;
  }
  if (std::strcmp(argv[2], "--fresh") == 0) {
    if (argc < 5) return 2;
    return RunFresh(*target, std::strtol(argv[3], nullptr, 10), std::strtoull(argv[4], nullptr, 10),
                    Expand(*target, argv + 5, argv + argc));
  }
  const std::vector<fs::path> files = Expand(*target, argv + 2, argv + argc);
  for (const fs::path& file : files)
    RunOn(*target, ReadFile(file));
  std::printf("%s: %zu inputs\n", target->name, files.size());
  return files.empty() ? 2 : 0;
}
