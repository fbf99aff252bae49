#include "tests/support/arrow_rows.h"

#include <fmt/format.h>

#include <cstdint>
#include <string_view>

#include "replies/arrow_check.h"
#include "replies/encodings.h"
#include "replies/text.h"

namespace arrow_rows {
namespace {

template <class T>
T At(const void* buffer, int64_t index) {
  return static_cast<const T*>(buffer)[index];
}

bool IsNull(const ArrowArray& array, int64_t index) {
  const int64_t at = array.offset + index;
  return array.buffers[0] != nullptr && (At<uint8_t>(array.buffers[0], at / 8) >> (at % 8) & 1) == 0;
}

std::string StructText(const ArrowSchema& schema, const ArrowArray& array, int64_t index);

std::string Elements(const ArrowSchema& schema, const ArrowArray& array, int64_t from, int64_t to);

std::string_view Bytes(const ArrowArray& array, int64_t at) {
  const auto begin = At<int32_t>(array.buffers[1], at);
  const auto end = At<int32_t>(array.buffers[1], at + 1);
  return {static_cast<const char*>(array.buffers[2]) + begin, static_cast<size_t>(end - begin)};
}

std::string Quoted(std::string_view text) {
  std::string quoted;
  replies::AppendJsonString(&quoted, text);
  return quoted;
}

}  // namespace

std::string CellText(const ArrowSchema& schema, const ArrowArray& array, int64_t index) {
  const std::string format = schema.format;
  if (format == "n" || (array.n_buffers > 0 && IsNull(array, index))) return "null";
  const int64_t at = array.offset + index;
  if (format == "+s") return StructText(schema, array, index);
  if (format == "+l") {
    return Elements(*schema.children[0], *array.children[0], At<int32_t>(array.buffers[1], at),
                    At<int32_t>(array.buffers[1], at + 1));
  }
  if (format.substr(0, 3) == "+w:") {
    const int64_t count = std::stoll(format.substr(3));
    return Elements(*schema.children[0], *array.children[0], at * count, (at + 1) * count);
  }
  if (format == "u") return Quoted(Bytes(array, at));
  if (format == "z") return Quoted(replies::EncodeBase64(Bytes(array, at)));
  const void* values = array.buffers[1];
  switch (format[0]) {
    case 'c': return fmt::format("{}", At<int8_t>(values, at));
    case 'C': return fmt::format("{}", At<uint8_t>(values, at));
    case 's': return fmt::format("{}", At<int16_t>(values, at));
    case 'S': return fmt::format("{}", At<uint16_t>(values, at));
    case 'i': return fmt::format("{}", At<int32_t>(values, at));
    case 'I': return fmt::format("{}", At<uint32_t>(values, at));
    case 'l':
    case 't': return fmt::format("{}", At<int64_t>(values, at));
    case 'L': return fmt::format("{}", At<uint64_t>(values, at));
    case 'f': return fmt::format("{:.9g}", At<float>(values, at));
    case 'g': return fmt::format("{:.17g}", At<double>(values, at));
    default: return "?";
  }
}

namespace {

std::string Elements(const ArrowSchema& schema, const ArrowArray& array, int64_t from, int64_t to) {
  std::string text = "[";
  for (int64_t i = from; i < to; ++i)
    text += (i == from ? "" : ",") + CellText(schema, array, i);
  return text + "]";
}

std::string StructText(const ArrowSchema& schema, const ArrowArray& array, int64_t index) {
  std::string text = "{";
  for (int64_t i = 0; i < schema.n_children; ++i) {
    const ArrowSchema& field = *schema.children[i];
    text += (i == 0 ? "" : ",") + Quoted(field.name) + ":" +
            CellText(field, *array.children[i], array.offset + index);
  }
  return text + "}";
}

}  // namespace

std::vector<std::string> RowsOf(const ArrowSchema& schema, const ArrowArray& array) {
  std::vector<std::string> rows;
  for (int64_t i = 0; i < array.length; ++i)
    rows.push_back(StructText(schema, array, i));
  return rows;
}

std::string TypeText(const ArrowSchema& schema) {
  std::string text;
  const bool is_list = std::string(schema.format) == "+l";
  const ArrowSchema& fields = is_list ? *schema.children[0] : schema;
  for (int64_t i = 0; i < fields.n_children; ++i) {
    const ArrowSchema& field = *fields.children[i];
    text += fmt::format("{}{}:{}", i == 0 ? "" : " ", field.name, field.format);
    if (field.n_children > 0) {
      text += std::string(field.format) == "+l" ? fmt::format("({})", TypeText(field))
                                                : fmt::format("({})", field.children[0]->format);
    }
  }
  return text;
}

std::vector<std::string> RowsOf(ArrowArrayStream* stream, std::vector<int64_t>* batches) {
  std::vector<std::string> rows;
  ArrowSchema schema{};
  int code = stream->get_schema(stream, &schema);
  while (code == 0) {
    ArrowArray array{};
    code = stream->get_next(stream, &array);
    if (code != 0 || array.release == nullptr) break;
    const std::string fault = replies::CheckArrow(schema, array);
    if (!fault.empty()) rows.push_back("fault: " + fault);
    for (std::string& row : RowsOf(schema, array))
      rows.push_back(std::move(row));
    if (batches != nullptr) batches->push_back(array.length);
    array.release(&array);
  }
  if (code != 0) rows.push_back(fmt::format("error {}: {}", code, stream->get_last_error(stream)));
  if (schema.release != nullptr) schema.release(&schema);
  stream->release(stream);
  return rows;
}

}  // namespace arrow_rows
