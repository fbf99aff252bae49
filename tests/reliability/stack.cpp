// Claim: a thread with a stack of kPromised bytes can make any call on any reply, the deepest nesting that
// the parser accepts and the first call of a process included.
//
// For each reply and route, bisection finds the smallest stack with which the call still ends. Each try is a
// process of its own, with a guard page behind the thread's stack. Prints what was found; fails if anything
// needs more than three quarters of what is promised.
#include <google/protobuf/stubs/logging.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/reliability/replies.h"
#include "tsl_base/table.h"

namespace {

using reliability::Route;

constexpr size_t kPage = 4096;
constexpr size_t kPromised = size_t{128} * 1024;
constexpr size_t kMost = size_t{4} * 1024 * 1024;

struct Try {
  const Route* route;
  std::string reply;
  bool first_use;
};

void* CallOnce(void* argument) {
  const auto* call = static_cast<const Try*>(argument);
  if (call->route->json) {
    try {
      TesparserPB2Json(call->reply);
    } catch (const j2pb_error&) {
    }
  } else {
    table_free(reliability::CallTable(*call->route, call->reply));
  }
  return nullptr;
}

// In a process of its own: whether the call ends on a stack of that size.
bool EndsOn(const Try& call, size_t stack_size) {
  const pid_t child = fork();
  if (child == 0) {
    google::protobuf::SetLogHandler(nullptr);
    if (!call.first_use) CallOnce(const_cast<Try*>(&call));
    void* block =
        mmap(nullptr, stack_size + kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED || mprotect(block, kPage, PROT_NONE) != 0) _exit(2);
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    if (pthread_attr_setstack(&attributes, static_cast<char*>(block) + kPage, stack_size) != 0) _exit(1);
    if (pthread_create(&thread, &attributes, CallOnce, const_cast<Try*>(&call)) != 0) _exit(1);
    pthread_join(thread, nullptr);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// A whole number of pages; kMost where even that is not enough.
size_t SmallestStack(const Try& call) {
  size_t too_small = 0;
  size_t enough = kMost / kPage;
  if (!EndsOn(call, kMost)) return kMost;
  while (enough - too_small > 1) {
    const size_t middle = (too_small + enough) / 2;
    (EndsOn(call, middle * kPage) ? enough : too_small) = middle;
  }
  return enough * kPage;
}

struct Reply {
  std::string name;
  std::string bytes;
};

std::vector<Reply> Replies() {
  const int deepest = reliability::kDeepest;
  return {{"`Id` alone", reliability::Number(1, 20)},
          {"wire tables, 100 levels", reliability::NestedTables(deepest)},
          {"the same with a bad text below", reliability::NestedBadText(deepest)},
          {"the same without required fields", reliability::NestedWithoutRequired(deepest)},
          {"the same, one level too deep", reliability::NestedTables(deepest + 1)},
          {"unknown groups, 100 levels", reliability::NestedGroups(deepest)}};
}

bool NestsSoDeepAndNoDeeper() {
  const int deepest = reliability::kDeepest;
  for (const auto& nested : {reliability::NestedTables, reliability::NestedGroups}) {
    if (TesparserPB2Json(nested(deepest)).empty() || !TesparserPB2Json(nested(deepest + 1)).empty())
      return false;
  }
  return true;
}

}  // namespace

int main() {
#if RELIABILITY_SANITIZED || !defined(__OPTIMIZE__)
  std::puts("skipped: a sanitizer, or no optimisation, makes frames larger than those that are shipped");
  return 77;
#endif
  size_t most = 0;
  std::puts("| reply | route | first use, KB | later, KB |\n|---|---|---|---|");
  for (const Reply& reply : Replies()) {
    for (const Route& route : reliability::Routes()) {
      if (!route.json && !route.by_id && route.type != TPTypeDaDan) continue;
      const size_t first = SmallestStack({&route, reply.bytes, true});
      const size_t later = SmallestStack({&route, reply.bytes, false});
      most = std::max({most, first, later});
      std::printf("| %s | %s | %zu | %zu |\n", reply.name.c_str(), route.name.c_str(), first / 1024,
                  later / 1024);
      std::fflush(stdout);
    }
  }
  std::printf("most: %zu KB, promised: %zu KB\n", most / 1024, kPromised / 1024);
  if (!NestsSoDeepAndNoDeeper()) {
    std::puts("the deepest reply is not the deepest that parses");
    return 1;
  }
  return most <= kPromised / 4 * 3 ? 0 : 1;
}
