// An iconv that answers as no system should, put before the system's own by the loader. STRANGE_ICONV says
// how:
//
//   no-way, one-way    there is no converter, or none back
//   ascii              to the page, A becomes B
//   few                to the page, nothing but ASCII has a code
//   lazy, mute, long   the same, told by what is left, what comes out, or that it is too much
//   LLTT               to the page, U+4E00 has this code, in hexadecimal
//   back               from the page, every pair is U+5000
#include <dlfcn.h>
#include <iconv.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

namespace {

const std::string& Way() {
  static const std::string way = getenv("STRANGE_ICONV");
  return way;
}

// The two converters; there are no others.
iconv_t to_page;
iconv_t from_page;

template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

unsigned PopNumber(char** in, size_t* in_left) {
  unsigned number = 0;
  for (; *in_left != 0; --*in_left)
    number = number << 8 | static_cast<unsigned char>(*(*in)++);
  return number;
}

void PushBytes(const std::string& bytes, char** out, size_t* out_left) {
  std::memcpy(*out, bytes.data(), bytes.size());
  *out += bytes.size();
  *out_left -= bytes.size();
}

std::string TwoBytes(unsigned number) {
  return {static_cast<char>(number >> 8), static_cast<char>(number & 0xFF)};
}

// What a code point becomes on the page. Null where the system's own is to answer.
std::optional<std::string> CodeOf(unsigned code_point) {
  if (Way() == "ascii") return code_point == 'A' ? std::optional<std::string>("B") : std::nullopt;
  if (code_point < 0x80 || Way() == "back") return std::nullopt;
  if (Way() == "mute") return "";
  if (Way() == "long") return "???";
  if (code_point != 0x4E00) return std::nullopt;
  return TwoBytes(static_cast<unsigned>(std::stoul(Way(), nullptr, 16)));
}

std::optional<std::string> Answer(iconv_t handle, unsigned number, size_t in_size) {
  if (handle == to_page) return CodeOf(number);
  return Way() == "back" && in_size == 2 ? std::optional<std::string>(TwoBytes(0x5000)) : std::nullopt;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) iconv_t iconv_open(const char* to, const char* from) {
  const bool is_to_page = std::strcmp(to, "CP936") == 0;
  if (Way() == "no-way" || (Way() == "one-way" && !is_to_page)) return reinterpret_cast<iconv_t>(-1);
  iconv_t handle = Next<decltype(iconv_open)>("iconv_open")(to, from);
  (is_to_page ? to_page : from_page) = handle;
  return handle;
}

extern "C" __attribute__((visibility("default"))) size_t iconv(iconv_t handle, char** in, size_t* in_left,
                                                               char** out, size_t* out_left) {
  const auto own = [&] { return Next<decltype(iconv)>("iconv")(handle, in, in_left, out, out_left); };
  if (in == nullptr) return own();
  char* behind = *in;
  size_t left = *in_left;
  const unsigned number = PopNumber(&behind, &left);
  if (handle == to_page && number >= 0x80 && Way() == "lazy") return 0;
  if (handle == to_page && number >= 0x80 && Way() == "few") {
    errno = EILSEQ;
    return static_cast<size_t>(-1);
  }
  const auto answer = Answer(handle, number, *in_left);
  if (!answer) return own();
  *in = behind;
  *in_left = left;
  PushBytes(*answer, out, out_left);
  return 0;
}
