// Writes Arrow's IPC streams of columns that are written down by hand, for others to read:
//
//   engine_streams DIRECTORY
//
// What they hold, streams.test.mjs tells once more.
#include <fmt/format.h>

#include <cstdlib>
#include <fstream>

#include "replies/arrow_check.h"
#include "replies/arrow_ipc.h"
#include "tests/engines/sample_columns.h"

namespace {

using arrow_columns::Column;
using arrow_columns::ExportArray;
using arrow_columns::ExportSchema;
using arrow_columns::ExportStream;
using arrow_columns::Owned;

[[noreturn]] void Fail(const std::string& what) {
  fmt::print(stderr, "engine_streams: {}\n", what);
  std::exit(1);
}

void Check(const Column& column) {
  Owned<ArrowSchema> schema(ExportSchema(column));
  Owned<ArrowArray> array(ExportArray(column));
  if (const std::string fault = replies::CheckArrow(*schema, *array); !fault.empty()) Fail(fault);
}

void Write(const std::string& path, const Column& schema, const std::vector<Column>& batches) {
  for (const Column& batch : batches)
    Check(batch);
  std::ofstream file(path, std::ios::binary);
  const auto sink = [&file](std::string_view bytes) {
    return static_cast<bool>(file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())));
  };
  Owned<ArrowArrayStream> stream(ExportStream(schema, batches));
  std::string error;
  if (!replies::WriteIpcStream(stream.get(), sink, &error) || !file.flush()) Fail(path + ": " + error);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) Fail("one argument: where to write");
  const std::string directory = std::string(argv[1]) + "/";
  const Column types = sample_columns::AllTypes();
  const Column nested = sample_columns::Nested();
  const std::vector<Column> many = sample_columns::ManyBatches();
  Write(directory + "types.arrows", types, {types});
  Write(directory + "nested.arrows", nested, {nested, Sliced(nested, 1, 2), Sliced(nested, 4, 0)});
  Write(directory + "no_batch.arrows", types, {});
  Write(directory + "no_rows.arrows", nested, {Sliced(nested, 0, 0)});
  Write(directory + "many.arrows", many.front(), many);
}
