// Sequences of table operations, each done to a model as well, and both compared.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#include "fuzz/support/input.h"
#include "fuzz/support/table_model.h"
#include "fuzz/support/target.h"
#include "tsl_base/table.h"

namespace {

using fuzz::ModelCell;
using fuzz::ModelColumn;
using fuzz::ModelTable;

struct Shape {
  const char* spec;
  std::vector<ModelColumn> columns;
};

const std::vector<Shape>& Shapes() {
  static const std::vector<Shape> shapes = {
      {"a:d", {{'d', 1}}},
      {"Obj:s;Data:t;", {{'s', 1}, {'t', 1}}},
      {"c:c;h:h;i:i;q:q;f:f;d:d;s:s;b:b;C:C;H:H;I:I;Q:Q;t:t;T:T;P:P;V:V",
       {{'c', 1},
        {'h', 1},
        {'i', 1},
        {'q', 1},
        {'f', 1},
        {'d', 1},
        {'s', 1},
        {'b', 1},
        {'C', 1},
        {'H', 1},
        {'I', 1},
        {'Q', 1},
        {'t', 1},
        {'T', 1},
        {'P', 1},
        {'V', 1}}},
      {"DaiMa:s;LeiXing:i;Data:53q;HasBits:q", {{'s', 1}, {'i', 1}, {'q', 53}, {'q', 1}}},
      {"x;:d;?:z;b:3C;s:2s;t:t", {{'?', 0}, {'d', 1}, {'?', 0}, {'C', 3}, {'?', 0}, {'t', 1}}},
      {"t:t;u:t;b:b", {{'t', 1}, {'t', 1}, {'b', 1}}},
      {"f:f;q:q;I:I;h:h", {{'f', 1}, {'q', 1}, {'I', 1}, {'h', 1}}},
      {"", {}},
      {"P:4P;V:V;T:2T;f:7f;h:h;H:5H", {{'P', 4}, {'V', 1}, {'T', 2}, {'f', 7}, {'h', 1}, {'H', 5}}},
  };
  return shapes;
}

class Session {
 public:
  Session(const uint8_t* data, size_t size) : input_(data, size) {}
  ~Session() {
    for (auto& root : roots_)
      table_free(root->real);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void Run();

 private:
  void Step();
  void Create();
  void SetNumber(ModelTable* table, int row, int col);
  void SetText(ModelTable* table, int row, int col);
  void SetBinary(ModelTable* table, int row, int col);
  void SetBuff(ModelTable* table, int row, int col);
  void Burst(ModelTable* table, int col);
  void Attach(ModelTable* table, int row, int col);
  void AttachCopy(ModelTable* table, int row, int col);
  void AttachNull(ModelTable* table, int row, int col);
  void Free();
  void StoreDouble(ModelTable* table, int row, int col, double value);

  void Keep(ModelTable* table, int row, int col, std::string bytes) {
    table->cells[{row, col}].bytes = std::move(bytes);
  }
  double Real();
  int Row(const ModelTable& table);
  ModelTable* Pick();
  void ListTables(ModelTable* table);
  void ListTables();

  fuzz::Input input_;
  std::vector<std::unique_ptr<ModelTable>> roots_;
  std::vector<ModelTable*> all_;
  int written_ = 0;
};

constexpr size_t kMostTables = 48;
constexpr int kMostSteps = 400;
constexpr int kMostWritten = 6000;

void Session::ListTables(ModelTable* table) {
  all_.push_back(table);
  for (auto& [at, cell] : table->cells) {
    if (cell.child != nullptr) ListTables(cell.child.get());
  }
}

void Session::ListTables() {
  all_.clear();
  for (auto& root : roots_)
    ListTables(root.get());
}

ModelTable* Session::Pick() {
  return all_[input_.Below(static_cast<uint32_t>(all_.size()))];
}

int Session::Row(const ModelTable& table) {
  switch (input_.Byte() % 8) {
    case 0: return input_.Value<int>();
    case 1: return table.rows - 1 - static_cast<int>(input_.Byte() % 4) + 1;
    case 2: return static_cast<int>(input_.Value<uint16_t>());
    case 3: return static_cast<int>(input_.Value<uint32_t>() % (static_cast<uint32_t>(table.rows) + 1));
    default: return input_.Byte() % (std::min(table.rows, 255) + 1);
  }
}

// Doubles that matter: integers of all sizes as well as any bits.
double Session::Real() {
  switch (input_.Byte() % 4) {
    case 0: return input_.Value<double>();
    case 1: return static_cast<double>(input_.Value<float>());
    case 2: return std::ldexp(static_cast<double>(input_.Value<int16_t>()), input_.Byte() % 70);
    default: return static_cast<double>(input_.Value<int8_t>()) / 4;
  }
}

void Session::Create() {
  constexpr int kRows[] = {0, 1, 2, 5, 16, 17, 100, 257, 1000, 5000, 1 << 20, INT_MAX, -1};
  const Shape& shape = Shapes()[input_.Below(static_cast<uint32_t>(Shapes().size()))];
  const int rows = kRows[input_.Below(sizeof kRows / sizeof *kRows)];
  auto table = std::make_unique<ModelTable>();
  table->columns = &shape.columns;
  table->rows = std::max(rows, 0);
  table->name = input_.Bytes(input_.Byte() % 4).c_str();
  table->real = table_create(shape.spec, rows, table->name.c_str());
  roots_.push_back(std::move(table));
}

void Session::StoreDouble(ModelTable* table, int row, int col, double value) {
  table_set_double(table->real, row, col, value);
  const ModelColumn* column = table->ColumnOf(row, col);
  std::string bytes;
  if (column == nullptr || column->count != 1) return;
  if (column->letter == 'd') {
    Keep(table, row, col, fuzz::OwnBytes(value));
  } else if (fuzz::NumberBytes(column->letter, static_cast<long double>(value), std::signbit(value),
                               &bytes)) {
    Keep(table, row, col, bytes);
  }
}

void Session::SetNumber(ModelTable* table, int row, int col) {
  const ModelColumn* column = table->ColumnOf(row, col);
  const char letter = column != nullptr && column->count == 1 ? column->letter : '?';
  std::string bytes;
  bool fits = false;
  const auto integer = [&](auto value) {
    fits = fuzz::NumberBytes(letter, static_cast<long double>(value), value < 0, &bytes);
  };
  const auto own = [&](auto value) {
    bytes = fuzz::OwnBytes(value);
    fits = true;
  };
  switch (input_.Byte() % 10) {
    case 0:
    case 9: StoreDouble(table, row, col, Real()); return;
    case 1: {
      const auto value =
          static_cast<float>(input_.Bool() ? static_cast<double>(input_.Value<float>()) : input_.Byte());
      table_set_float(table->real, row, col, value);
      if (letter == 'f') {
        own(value);
      } else {
        fits = fuzz::NumberBytes(letter, static_cast<long double>(value), std::signbit(value), &bytes);
      }
      break;
    }
    case 2: {
      const auto value = input_.Bool() ? input_.Value<int>() : static_cast<int>(input_.Value<int16_t>());
      table_set_int(table->real, row, col, value);
      integer(value);
      break;
    }
    case 3: {
      const auto value = input_.Bool() ? input_.Value<unsigned>() : unsigned{input_.Value<uint16_t>()};
      table_set_uint(table->real, row, col, value);
      integer(value);
      break;
    }
    case 4: {
      const auto value = input_.Value<long long>() >> (input_.Byte() % 64);
      table_set_int64(table->real, row, col, value);
      integer(value);
      break;
    }
    case 5: {
      const auto value = input_.Value<unsigned long long>() >> (input_.Byte() % 64);
      table_set_uint64(table->real, row, col, value);
      letter == 'T' ? own(value) : integer(value);
      break;
    }
    case 6: {
      const auto value = input_.Value<unsigned short>();
      table_set_short(table->real, row, col, value);
      letter == 'h' || letter == 'H' ? own(value) : integer(value);
      break;
    }
    case 7: {
      const PFloat value(input_.Value<long long>(), input_.Value<unsigned short>());
      table_set_pfloat(table->real, row, col, value);
      if (letter == 'P') own(value);
      break;
    }
    default: {
      const VFloat value(input_.Value<long long>(), input_.Value<unsigned short>());
      table_set_vfloat(table->real, row, col, value);
      if (letter == 'V') own(value);
      break;
    }
  }
  if (fits) Keep(table, row, col, bytes);
}

void Session::SetText(ModelTable* table, int row, int col) {
  const ModelColumn* column = table->ColumnOf(row, col);
  const bool takes = column != nullptr && column->letter == 's';
  // Part of the cell's own text may be what is passed.
  const char* held = table_get_str(table->real, row, col);
  if (held != nullptr && input_.Byte() % 4 == 0) {
    const size_t from = input_.Below(static_cast<uint32_t>(std::strlen(held)) + 1);
    const std::string expected = held + from;
    table_set_str(table->real, row, col, held + from, 1);
    Keep(table, row, col, expected);
    return;
  }
  std::string text = input_.Text();
  for (uint8_t doubled = input_.Byte() % 16; doubled > 10; --doubled)
    text += text;
  table_set_str(table->real, row, col, text.c_str(), input_.Byte());
  if (takes) Keep(table, row, col, text.c_str());
}

void Session::SetBinary(ModelTable* table, int row, int col) {
  const ModelColumn* column = table->ColumnOf(row, col);
  const bool takes = column != nullptr && column->letter == 'b';
  int held_size = 0;
  const void* held = table_get_binary(table->real, row, col, &held_size);
  if (held != nullptr && input_.Byte() % 4 == 0) {
    const int from = static_cast<int>(input_.Below(static_cast<uint32_t>(held_size) + 1));
    const char* part = static_cast<const char*>(held) + from;
    const std::string expected(part, static_cast<size_t>(held_size - from));
    table_set_binary(table->real, row, col, held_size - from, part, 1);
    Keep(table, row, col, expected);
    return;
  }
  std::string bytes = input_.Text();
  for (uint8_t doubled = input_.Byte() % 16; doubled > 10; --doubled)
    bytes += bytes;
  table_set_binary(table->real, row, col, -1, bytes.data(), 1);
  table_set_binary(table->real, row, col, 1, nullptr, 1);
  table_set_binary(table->real, row, col, static_cast<int>(bytes.size()),
                   bytes.empty() ? nullptr : bytes.data(), 1);
  if (takes) Keep(table, row, col, bytes);
}

void Session::SetBuff(ModelTable* table, int row, int col) {
  const ModelColumn* column = table->ColumnOf(row, col);
  const int width = column != nullptr ? fuzz::WidthOf(column->letter) * column->count : 8;
  const int size = input_.Byte() % 4 == 0 ? static_cast<int>(input_.Byte()) : width;
  int held_size = 0;
  const void* held = table_get_buff(table->real, row, col, &held_size);
  std::string bytes;
  if (held != nullptr && input_.Bool()) {
    bytes.assign(static_cast<const char*>(held), static_cast<size_t>(held_size));
    table_set_buff(table->real, row, col, held, held_size, 0);
    Keep(table, row, col, bytes);
    return;
  }
  bytes = input_.Bytes(static_cast<size_t>(size));
  bytes.resize(static_cast<size_t>(size), 'x');
  table_set_buff(table->real, row, col, bytes.data(), size, 0);
  if (column != nullptr && width != 0 && size == width) Keep(table, row, col, bytes);
}

// Many rows of one column, dense or sparse, up or down: what makes storage grow.
void Session::Burst(ModelTable* table, int col) {
  const int from = Row(*table);
  const int count = 1 + static_cast<int>(input_.Byte()) * 4;
  const int stride = 1 + input_.Byte() % 40;
  const bool down = input_.Bool();
  for (int i = 0; i < count && written_ < kMostWritten; ++i, ++written_) {
    const int64_t row = int64_t{from} + int64_t{down ? count - 1 - i : i} * stride;
    if (row > INT_MAX || row < INT_MIN) continue;
    StoreDouble(table, static_cast<int>(row), col, i);
  }
}

void Session::Attach(ModelTable* table, int row, int col) {
  const ModelColumn* column = table->ColumnOf(row, col);
  ModelTable* child = Pick();
  ModelTable* root = table;
  while (root->parent != nullptr)
    root = root->parent;
  // A child with a parent and one that would hang under itself stay where they are. Any other is given away,
  // to be freed at once where there is no cell for it.
  const bool given = child->parent == nullptr && child != root;
  const bool takes = column != nullptr && column->letter == 't';
  if (input_.Bool()) {
    table_set_table_raw(table->real, row, col, child->real);
  } else {
    table_set_table(table->real, row, col, child->real, 0);
  }
  if (!given) return;
  const auto found =
      std::find_if(roots_.begin(), roots_.end(), [child](const auto& held) { return held.get() == child; });
  std::unique_ptr<ModelTable> owned = std::move(*found);
  roots_.erase(found);
  if (!takes) return;
  owned->parent = table;
  table->cells[{row, col}].child = std::move(owned);
}

std::unique_ptr<ModelTable> CopyOf(const ModelTable& model, void* real) {
  FUZZ_CHECK(real != nullptr && real != model.real);
  auto copy = std::make_unique<ModelTable>();
  copy->real = real;
  copy->columns = model.columns;
  copy->rows = model.rows;
  copy->name = model.name;
  for (const auto& [at, cell] : model.cells) {
    ModelCell& to = copy->cells[at];
    to.bytes = cell.bytes;
    if (cell.child == nullptr) continue;
    to.child = CopyOf(*cell.child, table_get_table(real, at.first, at.second));
    to.child->parent = copy.get();
  }
  return copy;
}

void Session::AttachCopy(ModelTable* table, int row, int col) {
  if (all_.size() > kMostTables / 2) return;
  const ModelColumn* column = table->ColumnOf(row, col);
  const ModelTable* child = Pick();
  const bool takes = column != nullptr && column->letter == 't';
  // The child may lie in the very cell that is overwritten, or hold it: its model is copied first.
  std::unique_ptr<ModelTable> before;
  table_set_table(table->real, row, col, child->real, 1);
  if (!takes) return;
  before = CopyOf(*child, table_get_table(table->real, row, col));
  before->parent = table;
  table->cells[{row, col}].child = std::move(before);
}

void Session::AttachNull(ModelTable* table, int row, int col) {
  const ModelColumn* column = table->ColumnOf(row, col);
  const bool takes = column != nullptr && column->letter == 't';
  if (input_.Bool()) {
    table_set_table_raw(table->real, row, col, nullptr);
    if (takes) table->cells.erase({row, col});
    return;
  }
  table_set_table(table->real, row, col, nullptr, input_.Byte() % 2);
  if (takes) table->cells[{row, col}] = ModelCell();
}

// A child is its parent's: freeing it is ignored.
void Session::Free() {
  ModelTable* table = Pick();
  table_free(table->real);
  const auto found =
      std::find_if(roots_.begin(), roots_.end(), [table](const auto& held) { return held.get() == table; });
  if (found != roots_.end()) roots_.erase(found);
}

void Session::Step() {
  ListTables();
  const uint8_t what = input_.Byte() % 24;
  if (all_.empty() || (what == 0 && all_.size() < kMostTables)) {
    Create();
    return;
  }
  if (what == 1) {
    Free();
    return;
  }
  ModelTable* table = Pick();
  const int col = static_cast<int>(input_.Below(static_cast<uint32_t>(table->columns->size()) + 2)) - 1;
  if (what == 2) {
    Burst(table, col);
    return;
  }
  const int row = Row(*table);
  switch (what) {
    case 3:
    case 4: SetText(table, row, col); break;
    case 5:
    case 6: SetBinary(table, row, col); break;
    case 7: SetBuff(table, row, col); break;
    case 8:
    case 9: Attach(table, row, col); break;
    case 10: AttachCopy(table, row, col); break;
    case 11: AttachNull(table, row, col); break;
    default: SetNumber(table, row, col); break;
  }
  fuzz::CheckCell(*table, row, col);
}

void Session::Run() {
  for (int step = 0; step < kMostSteps && !input_.empty(); ++step)
    Step();
  for (const auto& root : roots_)
    fuzz::CheckTable(*root);
}

void table_ops(const uint8_t* data, size_t size) {
  Session(data, size).Run();
}

}  // namespace

FUZZ_TARGET(table_ops, 2048, fuzz::Kind::kBytes)
