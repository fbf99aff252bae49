// For tests that know a library by its path alone and find what they call at run time.
#ifndef TESTS_SUPPORT_OPENED_LIBRARY_H_
#define TESTS_SUPPORT_OPENED_LIBRARY_H_

#include <gtest/gtest.h>
#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <string>

namespace opened_library {

using ToJson = std::string (*)(const std::string&);
using ToTable = void* (*)(const std::string&);

constexpr char kJson[] = "_Z16TesparserPB2JsonRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";
constexpr char kTable[] = "_Z17TesparserPB2TableRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";

// One snapshot of "SH600000" with a last price of 12.34.
inline const std::string kReply("\x08\x14\xa2\x01\x13\x0a\x08SH600000\x12\x07\x08\x01\x10\x02\x18\xd2\x09",
                                24);

#if defined(_WIN32)

// Null if it cannot be loaded, which is a failure of the test.
inline void* Open(const char* path) {
  void* library = LoadLibraryA(path);
  if (library == nullptr) ADD_FAILURE() << path << ": error " << GetLastError();
  return library;
}

inline bool Close(void* library) {
  return FreeLibrary(static_cast<HMODULE>(library)) != 0;
}

// Of the library or of the base library, which came with it.
inline void* Symbol(void* library, const char* name) {
  FARPROC found = GetProcAddress(static_cast<HMODULE>(library), name);
  if (found == nullptr) found = GetProcAddress(GetModuleHandleA("tsl_base.dll"), name);
  return reinterpret_cast<void*>(found);
}

// Whether the program is linked with what has that name.
inline bool IsLinked(const char* name) {
  return GetProcAddress(GetModuleHandleA(nullptr), name) != nullptr ||
         GetModuleHandleA("tesparser.dll") != nullptr;
}

#else

// Null if it cannot be loaded, which is a failure of the test.
inline void* Open(const char* path, int scope = RTLD_LOCAL) {
  void* library = dlopen(path, RTLD_NOW | scope);
  if (library == nullptr) ADD_FAILURE() << dlerror();
  return library;
}

inline bool Close(void* library) {
  return dlclose(library) == 0;
}

// Of the library or of what came with it.
inline void* Symbol(void* library, const char* name) {
  return dlsym(library, name);
}

// Whether the program is linked with what has that name.
inline bool IsLinked(const char* name) {
  return dlsym(RTLD_DEFAULT, name) != nullptr;
}

#endif

template <class Function>
Function Find(void* library, const char* name) {
  void* symbol = Symbol(library, name);
  if (symbol == nullptr) ADD_FAILURE() << "no " << name;
  return reinterpret_cast<Function>(symbol);
}

// That the table is the one of kReply; frees it.
inline void CheckTable(void* library, void* table) {
  const auto rows = Find<int (*)(const void*)>(library, "table_rows");
  const auto text = Find<const char* (*)(const void*, int, int)>(library, "table_get_str");
  const auto child = Find<void* (*)(const void*, int, int)>(library, "table_get_table");
  const auto number = Find<double (*)(const void*, int, int)>(library, "table_get_double");
  const auto free_table = Find<void (*)(void*)>(library, "table_free");
  ASSERT_TRUE(rows && text && child && number && free_table);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(rows(table), 1);
  EXPECT_STREQ(text(table, 0, 0), "SH600000");
  EXPECT_EQ(number(child(table, 0, 1), 0, 2), 12.34);
  free_table(table);
}

}  // namespace opened_library

#endif  // TESTS_SUPPORT_OPENED_LIBRARY_H_
