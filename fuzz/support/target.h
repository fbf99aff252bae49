// What a fuzz target is: a function over bytes that ends the program on anything that must not be.
//
// The same file serves the fuzzer, where it is the only target of its program, and the replay program, which
// holds all of them in an ordinary build.
#ifndef FUZZ_SUPPORT_TARGET_H_
#define FUZZ_SUPPORT_TARGET_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

using Run = void (*)(const uint8_t* data, size_t size);

// Makes a new input out of one or two others, no longer than `most`. Null where bytes are changed as bytes.
using Mutate = std::string (*)(const std::string& input, const std::string* other, size_t most,
                               uint64_t seed);

enum class Kind {
  kBytes,
  kTexts,    // reads texts, which are seeds as well
  kReplies,  // covers half of the schema: weighing inputs by how rare their coverage is costs more than it
             // gives
};

struct Target {
  const char* name;
  size_t longest;  // longer inputs are left out, so that no input is slow because it is long
  Kind kind;
  Run run;
  Mutate mutate;
  Target* next;
};

// All targets of this program.
extern Target* targets;

struct Registration {
  explicit Registration(Target* target) {
    target->next = targets;
    targets = target;
  }
};

// Runs the target unless the input is too long for it.
void RunTarget(const Target& target, const uint8_t* data, size_t size);

[[noreturn]] void Fail(const char* what, const char* file, int line);

}  // namespace fuzz

#define FUZZ_CHECK(condition) \
  ((condition) ? static_cast<void>(0) : fuzz::Fail(#condition, __FILE__, __LINE__))

// Names a function of this file as a target. This is the only place that says what a target needs:
// fuzz_replay
// --list tells the others.
#define FUZZ_TARGET(function, longest, kind) FUZZ_TARGET_WITH_MUTATOR(function, longest, kind, nullptr)
#define FUZZ_TARGET_WITH_MUTATOR(function, longest, kind, mutate)                           \
  namespace {                                                                               \
  fuzz::Target the_target = {#function, (longest), (kind), &(function), (mutate), nullptr}; \
  const fuzz::Registration the_registration(&the_target);                                   \
  }

#endif  // FUZZ_SUPPORT_TARGET_H_
