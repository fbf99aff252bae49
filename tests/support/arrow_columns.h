// Arrow arrays written down by hand, buffer by buffer, and handed out by the C data interface.
//
// Every buffer is a heap block of its exact size, so that AddressSanitizer sees a read behind its end. What
// is handed out is the receiver's to release, and its children may be moved out of it.
#ifndef TESTS_SUPPORT_ARROW_COLUMNS_H_
#define TESTS_SUPPORT_ARROW_COLUMNS_H_

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tsl_base/arrow.h"

namespace arrow_columns {

// The bytes of a buffer; none is a null pointer.
using Buffer = std::optional<std::string>;

struct Column {
  std::string format;
  std::string name;
  int64_t length = 0;
  std::vector<Buffer> buffers;
  std::vector<Column> children;
  int64_t offset = 0;
  int64_t null_count = -1;
  bool nullable = true;
  std::vector<std::pair<std::string, std::string>> metadata = {};
};

// "1011": the first value is set, the second is not.
Buffer Bits(const std::string& bits);

template <typename T>
Buffer Values(const std::vector<T>& values) {
  std::string bytes(values.size() * sizeof(T), '\0');
  if (!values.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

// Columns without an offset. `valid` is as for Bits(), or empty for a column without a bitmap.
template <typename T>
Column Numbers(const std::string& format, const std::string& name, const std::vector<T>& values,
               const std::string& valid = "") {
  return {format, name, static_cast<int64_t>(values.size()), {Bits(valid), Values(values)}, {}};
}
Column Bools(const std::string& name, const std::string& bits, const std::string& valid = "");
// Formats u, U, z and Z.
Column Texts(const std::string& format, const std::string& name, const std::vector<std::string>& values,
             const std::string& valid = "");
// `offsets` is one more than there are lists.
Column List(const std::string& name, const std::vector<int32_t>& offsets, const Column& values,
            const std::string& valid = "");
Column LargeList(const std::string& name, const std::vector<int64_t>& offsets, const Column& values,
                 const std::string& valid = "");
Column FixedSizeList(const std::string& name, int64_t size, const Column& values,
                     const std::string& valid = "");
Column Struct(const std::string& name, int64_t length, const std::vector<Column>& children,
              const std::string& valid = "");
// A struct of the columns, as long as the first of them is.
Column Batch(const std::vector<Column>& columns);

// The values from `offset` on, `length` of them, in the same buffers.
Column Sliced(Column column, int64_t offset, int64_t length);
// The same rows of a batch, by slices of its columns: some readers refuse a batch that is not as long as its
// columns.
Column WithSlicedColumns(Column batch, int64_t offset, int64_t length);

ArrowSchema ExportSchema(const Column& column);
ArrowArray ExportArray(const Column& column);

// A stream of the batches, which all have the schema of `schema`. With an `error` it fails with that behind
// the last.
ArrowArrayStream ExportStream(const Column& schema, const std::vector<Column>& batches,
                              const std::string& error = "");

// A schema or an array that is released at the end of its scope.
template <typename T>
class Owned {
 public:
  explicit Owned(T value) : value_(value) {}
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() {
    if (value_.release != nullptr) value_.release(&value_);
  }
  T& operator*() { return value_; }
  T* operator->() { return &value_; }
  T* get() { return &value_; }

 private:
  T value_;
};

}  // namespace arrow_columns

#endif  // TESTS_SUPPORT_ARROW_COLUMNS_H_
