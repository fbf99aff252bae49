#include "tests/reliability/replies.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/table_text.h"

namespace reliability {
namespace {

// Deterministic and good enough to pick places.
uint64_t Mix(uint64_t value) {
  value += 0x9E3779B97F4A7C15;
  value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9;
  value = (value ^ value >> 27) * 0x94D049BB133111EB;
  return value ^ value >> 31;
}

class Hash {
 public:
  void Add(const void* bytes, size_t size) {
    const auto* byte = static_cast<const unsigned char*>(bytes);
    for (size_t i = 0; i < size; ++i)
      state_ = (state_ ^ byte[i]) * 0x100000001B3;
  }
  void AddNumber(int number) { Add(&number, sizeof(number)); }
  void AddText(const char* text) { Add(text, std::strlen(text) + 1); }
  uint64_t value() const { return state_; }

 private:
  uint64_t state_ = 0xCBF29CE484222325;
};

void AddTable(void* table, Hash* hash);

void AddCell(void* table, int row, int col, Hash* hash) {
  const int type = table_col_type(table, col);
  hash->AddNumber(table_is_set(table, row, col) != 0 ? type : -1);
  if (const char* text = table_get_str(table, row, col)) hash->AddText(text);
  if (void* child = table_get_table(table, row, col)) AddTable(child, hash);
  int size = 0;
  const void* bytes = table_get_binary(table, row, col, &size);
  if (bytes == nullptr) bytes = table_get_buff(table, row, col, &size);
  if (bytes != nullptr) hash->Add(bytes, static_cast<size_t>(size));
}

void AddTable(void* table, Hash* hash) {
  hash->AddText(table_name(table));
  hash->AddNumber(table_rows(table));
  hash->AddNumber(table_cols(table));
  for (int col = 0; col < table_cols(table); ++col)
    hash->AddText(table_col_name(table, col));
  for (int row = 0; row < table_rows(table); ++row) {
    for (int col = 0; col < table_cols(table); ++col)
      AddCell(table, row, col, hash);
  }
}

}  // namespace

std::vector<Sample> Samples() {
  std::vector<Sample> samples;
  for (const auto& entry : std::filesystem::directory_iterator(TESPARSER_SAMPLES)) {
    if (entry.path().extension() != ".bin") continue;
    std::ifstream in(entry.path(), std::ios::binary);
    samples.push_back({entry.path().stem().string(),
                       std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())});
  }
  std::sort(samples.begin(), samples.end(), [](const Sample& a, const Sample& b) { return a.name < b.name; });
  if (samples.empty()) {
    std::fprintf(stderr, "no sample replies in " TESPARSER_SAMPLES ": build the target samples\n");
    std::abort();
  }
  return samples;
}

std::string Damaged(const std::string& reply, uint64_t n) {
  if (reply.empty()) return reply;
  const size_t size = reply.size();
  const auto from = static_cast<size_t>(Mix(n) % size);
  const auto piece = static_cast<size_t>(1 + Mix(n + 1) % std::min<size_t>(size - from, 16));
  std::string damaged = reply;
  switch (n % 5) {
    case 0: damaged.resize(from); break;
    case 1: damaged[from] = static_cast<char>(damaged[from] ^ (1 << Mix(n + 2) % 8)); break;
    case 2: damaged.erase(from, piece); break;
    case 3: damaged.insert(from, reply, from, piece); break;
    default: damaged[from] = static_cast<char>(Mix(n + 3)); break;
  }
  return damaged;
}

const std::vector<Route>& Routes() {
  static const std::vector<Route>* const routes = [] {
    auto* list =
        new std::vector<Route>{{"json", true, false, TPTypeById}, {"table", false, true, TPTypeById}};
    for (int type : {0, 1, 2, 3, 4, 5, 101, 103, 116, 117})
      list->push_back({"type " + std::to_string(type), false, false, static_cast<TPType>(type)});
    return list;
  }();
  return *routes;
}

void* CallTable(const Route& route, const std::string& reply) {
  return route.by_id ? TesparserPB2Table(reply) : TesparserPB2TableType(reply, route.type);
}

std::string CallText(const Route& route, const std::string& reply) {
  if (!route.json) {
    const OwnedTable table(CallTable(route, reply));
    return TableText(table.get());
  }
  try {
    return TesparserPB2Json(reply);
  } catch (const j2pb_error& error) {
    return std::string("j2pb_error: ") + error.what();
  }
}

uint64_t CallHash(const Route& route, const std::string& reply) {
  Hash hash;
  if (route.json) {
    const std::string text = CallText(route, reply);
    hash.Add(text.data(), text.size());
  } else if (const OwnedTable table{CallTable(route, reply)}) {
    AddTable(table.get(), &hash);
  }
  return hash.value();
}

std::string Varint(uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7)
    bytes += static_cast<char>(value | 0x80);
  return bytes + static_cast<char>(value);
}

std::string Number(int field, uint64_t value) {
  return Varint(static_cast<uint64_t>(field) << 3) + Varint(value);
}

std::string Bytes(int field, const std::string& content) {
  return Varint(static_cast<uint64_t>(field) << 3 | 2) + Varint(content.size()) + content;
}

std::string Info(const std::string& name, int type) {
  return Bytes(2, Bytes(1, name) + Number(2, static_cast<uint64_t>(type)));
}

std::string Data(const std::string& values) {
  return Bytes(3, Number(1, 0) + values);
}

std::string WireReply(const std::string& payload) {
  const std::string wrapper = Info("", 't') + Data(Bytes(7, payload));
  return Number(1, 3) + Bytes(3, wrapper);
}

namespace {

std::string Column(const std::string& index, const std::string& values) {
  return Bytes(3, index + values);
}

// Values that take the most stack to render: long texts, doubles with very many digits.
std::string AllKinds(const std::string& index, const std::string& text) {
  const double doubles[] = {1.7976931348623157e308, 4.9406564584124654e-324};
  const std::string two_doubles(reinterpret_cast<const char*>(doubles), sizeof(doubles));
  const float floats[] = {3.4028234e38F, 1e-45F};
  const std::string two_floats(reinterpret_cast<const char*>(floats), sizeof(floats));
  return Info("i", 'i') + Info("x", 'x') + Info("f", 'f') + Info("d", 'd') + Info("s", 's') + Info("b", 'b') +
         Column(index, Bytes(2, Varint(0x4D2) + Varint(0))) +
         Column(index, Bytes(9, Varint(0x4D2) + Varint(5))) + Column(index, Bytes(3, two_floats)) +
         Column(index, Bytes(3, two_floats) + Bytes(4, two_doubles)) +
         Column(index, Bytes(5, text) + Bytes(5, "")) + Column(index, Bytes(6, "bytes") + Bytes(6, ""));
}

// The fields of a wire table at a level. Tables lie on every second level, as each is in a column's data.
std::string TableAt(int level, int deepest, const std::string& index, const std::string& text) {
  if (level >= deepest) return std::string();
  if (level + 1 == deepest) return AllKinds(index, text);
  return Info("t", 't') + Column(index, Bytes(7, TableAt(level + 2, deepest, index, text)));
}

std::string NestedReply(int deepest, const std::string& index, const std::string& text) {
  return Number(1, 3) + Bytes(3, TableAt(1, deepest, index, text));
}

}  // namespace

std::string NestedTables(int deepest) {
  std::string text;
  for (int i = 0; i < 300; ++i)
    text += "\xE4\xB8\xAD";
  return NestedReply(deepest, Number(1, 0), text);
}

std::string NestedBadText(int deepest) {
  return NestedReply(deepest, Number(1, 0), "\xD6\xD0");
}

std::string NestedWithoutRequired(int deepest) {
  return NestedReply(deepest, std::string(), "text");
}

std::string NestedGroups(int deepest) {
  constexpr uint64_t kUnknownField = 100000;
  std::string groups;
  for (int level = 0; level < deepest; ++level)
    groups = Varint(kUnknownField << 3 | 3) + groups + Varint(kUnknownField << 3 | 4);
  return Number(1, 3) + groups;
}

}  // namespace reliability
