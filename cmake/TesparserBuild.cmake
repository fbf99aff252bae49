# What all targets share: flags, sanitizers, ccache.

if(CMAKE_CXX_BYTE_ORDER STREQUAL "BIG_ENDIAN")
  message(FATAL_ERROR "tesparser needs a little-endian machine: it keeps bits in 64-bit words, and hands them out as "
                      "Arrow arrays, which count them from the lowest of the first byte on")
endif()

find_program(TESPARSER_CCACHE ccache)
if(TESPARSER_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # The base directory makes paths relative, so that two checkouts share what they have compiled; the sloppiness
  # is what ccache asks for to cache users of a precompiled header.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${TESPARSER_CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_CXX_COMPILER_LAUNCHER})
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # A time stamp in a precompiled header would keep ccache from sharing what was compiled with it.
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")
endif()

# Contracted or reordered floating point would change results in the last bit.
if(MSVC)
  add_compile_options(/fp:precise /utf-8 /bigobj)
else()
  add_compile_options(-ffp-contract=off)
endif()
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND NOT MSVC AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(i[3-6]86|x86|x86_64|AMD64)$")
  # The old floating-point unit of 32-bit x86 computes in more digits than a double has and rounds twice. A host may be
  # built otherwise: what crosses to it is a double in either unit.
  add_compile_options(-msse2 -mfpmath=sse)
endif()
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Files of more than 2 GB, and times after 2038.
  add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

if(TESPARSER_COVERAGE)
  add_link_options(-fprofile-instr-generate)
endif()

if(TESPARSER_SANITIZE)
  add_compile_options(-fsanitize=${TESPARSER_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TESPARSER_SANITIZE})
  if(TESPARSER_SANITIZE MATCHES "undefined")
    # Every finding ends the program: a test that goes on after one proves nothing.
    add_compile_options(-fno-sanitize-recover=all)
  endif()
endif()

# With TESPARSER_UNITS the targets of a folder are compiled so many sources at a time: the fewer, the sooner an edit is
# built, the more, the sooner all is. Where whole targets are taken at once, as clang-tidy does, that stays.
macro(tesparser_units sources)
  if(TESPARSER_UNITS AND NOT CMAKE_UNITY_BUILD)
    set(CMAKE_UNITY_BUILD ON)
    set(CMAKE_UNITY_BUILD_BATCH_SIZE ${sources})
  endif()
endmacro()

# Warnings for our own code; generated code goes without. Coverage is counted of our own code alone, too.
function(tesparser_own_code target)
  if(WIN32)
    # Its header has macros of the names of std::min and std::max otherwise.
    target_compile_definitions(${target} PRIVATE NOMINMAX)
  endif()
  if(TESPARSER_COVERAGE)
    # What ccache shares between checkouts must not name one of them; with relocated counters (%c in LLVM_PROFILE_FILE)
    # a process that a signal ends has counted, too. Threads that lose each other's counts would make up branches.
    target_compile_options(${target} PRIVATE -fprofile-instr-generate -fcoverage-mapping -fcoverage-compilation-dir=.
                                             "SHELL:-mllvm -runtime-counter-relocation" -fprofile-update=atomic)
  endif()
  if(MSVC)
    target_compile_options(${target} PRIVATE /W3)
    return()
  endif()
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  if(TESPARSER_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ sees uninitialised members in the standard library's own code once the sanitizers' checks stand between.
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
  endif()
  if(TESPARSER_SANITIZE MATCHES "undefined")
    # "undefined" leaves this out. Most processors agree on what an integer out of range becomes, but not all.
    target_compile_options(${target} PRIVATE -fsanitize=float-cast-overflow)
  endif()
  if(TESPARSER_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Relocations that only add where the library was loaded, of which generated classes have tens of thousands, packed into
# bits: they are a fifteenth of the library otherwise. The loader knows them from glibc 2.36 on, the linker warns where it
# does not.
include(CheckCXXSourceCompiles)
check_cxx_source_compiles("#include <features.h>
#if !defined(__x86_64__) || !defined(__GLIBC__) || !__GLIBC_PREREQ(2, 36)
#error
#endif
int main() {}" TESPARSER_LOADER_KNOWS_RELR)
set(CMAKE_REQUIRED_LINK_OPTIONS -Wl,--fatal-warnings -Wl,-z,pack-relative-relocs)
check_cxx_source_compiles("int main() {}" TESPARSER_LINKER_PACKS_RELR)
unset(CMAKE_REQUIRED_LINK_OPTIONS)

# A library that stays once it is loaded, and lacks nothing of what it calls. Sanitizers leave their own symbols open
# until the program is linked.
function(tesparser_resident_library target)
  if(WIN32)
    # It pins itself where it must stay, its linker leaves nothing open, and its name begins with no "lib".
    set_target_properties(${target} PROPERTIES PREFIX "")
    return()
  elseif(APPLE)
    # Its linker has no word for that: a host must not unload it.
    return()
  endif()
  target_link_options(${target} PRIVATE -Wl,-z,nodelete)
  if(TESPARSER_LOADER_KNOWS_RELR AND TESPARSER_LINKER_PACKS_RELR)
    target_link_options(${target} PRIVATE -Wl,-z,pack-relative-relocs)
  endif()
  if(NOT TESPARSER_SANITIZE AND NOT TESPARSER_COVERAGE)
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
endfunction()

# Limits what a shared library offers to others to what its linker version script names.
function(tesparser_exports_only target script)
  if(WIN32 OR APPLE)
    # There a library offers what it marks for that, and nothing else.
    return()
  endif()
  target_link_options(${target} PRIVATE -Wl,--version-script=${script})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()
