// Claim: different tables may be made, written, read and freed on different threads at once, even if they
// share a spec, and a table may be freed on another thread than the one that made it.
#include <gtest/gtest.h>
#if defined(_WIN32)
#include <windows.h>
#endif

#include <string>
#include <thread>
#include <vector>

#include "tsl_base/table.h"
#include "tsl_base/text.h"

namespace {

constexpr int kThreads = 4;

template <typename Work>
void OnThreads(Work work) {
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&work, i] { work(i); });
  for (std::thread& thread : threads)
    thread.join();
}

void* MakeTree(int seed) {
  void* table = table_create("Obj:s;Data:t", 20, "root");
  for (int row = 0; row < 20; ++row) {
    void* child = table_create("ShiJian:q;ZuiXinJia:d;HasBits:q", 10, "data");
    for (int i = 0; i < 10; ++i) {
      table_set_int64(child, i, 0, seed);
      table_set_double(child, i, 1, row * 0.5);
    }
    table_set_str(table, row, 0, std::to_string(seed).c_str(), 1);
    table_set_table_raw(table, row, 1, child);
  }
  return table;
}

bool IsTree(const void* table, int seed) {
  for (int row = 0; row < 20; ++row) {
    const void* child = table_get_table(table, row, 1);
    if (std::to_string(seed) != table_get_str(table, row, 0)) return false;
    for (int i = 0; i < 10; ++i) {
      if (table_get_int64(child, i, 0) != seed || table_get_double(child, i, 1) != row * 0.5) return false;
      if (table_is_set(child, i, 2) != 0) return false;
    }
  }
  return true;
}

TEST(Threads, EachWithItsOwnTablesOfOneSpec) {
  std::vector<int> wrong(kThreads, 0);
  OnThreads([&wrong](int i) {
    for (int round = 0; round < 200; ++round) {
      void* table = MakeTree(i * 1000 + round);
      if (!IsTree(table, i * 1000 + round)) ++wrong[static_cast<size_t>(i)];
      table_free(table);
    }
  });
  EXPECT_EQ(wrong, std::vector<int>(kThreads, 0));
}

TEST(Threads, MadeOnOneFreedOnAnother) {
  std::vector<std::vector<void*>> tables(kThreads);
  OnThreads([&tables](int i) {
    for (int round = 0; round < 50; ++round)
      tables[static_cast<size_t>(i)].push_back(MakeTree(i));
  });
  OnThreads([&tables](int i) {
    for (void* table : tables[static_cast<size_t>((i + 1) % kThreads)]) {
      EXPECT_TRUE(IsTree(table, (i + 1) % kThreads));
      table_free(table);
    }
  });
}

// The makers are still at work with the same specs while others free.
TEST(Threads, MadeAndFreedAtOnceWithOneSpec) {
  std::vector<void*> tables;
  tables.reserve(size_t{kThreads} * 50);
  for (int i = 0; i < kThreads * 50; ++i)
    tables.push_back(MakeTree(7));
  std::thread maker([] {
    for (int i = 0; i < 200; ++i)
      table_free(MakeTree(8));
  });
  OnThreads([&tables](int i) {
    for (size_t k = static_cast<size_t>(i); k < tables.size(); k += kThreads)
      table_free(tables[k]);
  });
  maker.join();
}

TEST(Threads, OneTableReadByMany) {
  void* table = MakeTree(3);
  OnThreads([table](int) {
    for (int round = 0; round < 50; ++round)
      EXPECT_TRUE(IsTree(table, 3));
  });
  table_free(table);
}

TEST(Threads, ManySpecsOnEach) {
  OnThreads([](int i) {
    for (int round = 0; round < 100; ++round) {
      const std::string name = "n" + std::to_string(i) + "_" + std::to_string(round % 20);
      void* table = table_create((name + ":q").c_str(), 1, "");
      EXPECT_EQ(name, table_col_name(table, 0));
      table_free(table);
    }
  });
}

TEST(Threads, ATableOutlivesTheThreadThatKnewItsSpec) {
  void* table = nullptr;
  std::thread([&table] { table = MakeTree(5); }).join();
  EXPECT_TRUE(IsTree(table, 5));
  EXPECT_STREQ(table_col_name(table, 1), "Data");
  table_free(table);
}

struct MakesATableAtTheEnd {
  bool used = false;
  ~MakesATableAtTheEnd() {
    void* table = MakeTree(9);
    EXPECT_TRUE(IsTree(table, 9));
    table_free(table);
  }
};

TEST(Threads, TablesCanBeMadeWhileAThreadEnds) {
  std::thread([] {
    // Constructed before the first table, so that it is destroyed after what the library keeps for the
    // thread.
    thread_local MakesATableAtTheEnd last;
    last.used = true;
    table_free(MakeTree(9));
  }).join();
}

#if defined(_WIN32)

size_t BusyBlocks() {
  HANDLE heaps[64];
  const DWORD count = GetProcessHeaps(64, heaps);
  EXPECT_LE(count, 64U);
  size_t busy = 0;
  for (DWORD i = 0; i < count; ++i) {
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heaps[i], &entry) != 0)
      busy += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? 1 : 0;
  }
  return busy;
}

// Elsewhere the memory tests see to it, which cannot count what a library allocates here.
TEST(Threads, AThreadThatEndsKeepsNothing) {
  const auto end_threads = [] {
    for (int i = 0; i < 100; ++i) {
      std::thread([i] {
        thread_local MakesATableAtTheEnd last;
        last.used = true;
        const std::string spec = "of thread " + std::to_string(i) + ":q";
        table_free(table_create(spec.c_str(), 1, ""));
      }).join();
    }
  };
  // Starting threads may cost something once.
  end_threads();
  const size_t blocks = BusyBlocks();
  end_threads();
  EXPECT_LT(BusyBlocks(), blocks + 50);
}

#endif

TEST(Threads, TranscodingOnAll) {
  OnThreads([](int) {
    for (int round = 0; round < 2000; ++round) {
      ASSERT_EQ(tsl_base::text::Utf8toGb2312("\xE4\xB8\xAD\xE6\x96\x87"), "\xD6\xD0\xCE\xC4");
    }
  });
}

}  // namespace
