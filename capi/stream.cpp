// Many replies as an Arrow stream.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "capi/call.h"
#include "capi/reader.h"
#include "replies/table_stream.h"

namespace capi {
namespace {

using Options = tesparser_stream_options;

constexpr int64_t kBatchRows = 65536;

Options Defaults() {
  Options options{};
  options.flat = 1;
  options.batch_rows = kBatchRows;
  return options;
}

bool IsZero(const unsigned char* bytes, size_t size) {
  return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

bool Refuse(tesparser_error* error, const char* why) {
  Fail(error, TESPARSER_BAD_ARGUMENT, why);
  return false;
}

// What the caller knows of the options, over what the others are. An option that this library does not know
// must not have been set.
bool TakeOptions(const Options* given, Options* options, tesparser_error* error) {
  *options = Defaults();
  if (given == nullptr) return true;
  if (given->size < sizeof *options)
    return Refuse(error, "options without their size: tesparser_stream_options_init() sets it");
  const auto* bytes = reinterpret_cast<const unsigned char*>(given);
  if (!IsZero(bytes + sizeof *options, given->size - sizeof *options))
    return Refuse(error, "an option that this version of the library does not know");
  *options = *given;
  if (options->on_misfit != TESPARSER_MISFIT_STOPS && options->on_misfit != TESPARSER_MISFIT_SKIPPED)
    return Refuse(error, "`on_misfit` is no enum tesparser_on_misfit");
  if (options->batch_rows < 1) return Refuse(error, "`batch_rows` is below 1");
  return true;
}

bool TakeNames(const char* const* names, size_t count, std::vector<std::string>* to, tesparser_error* error) {
  if (names == nullptr && count != 0) return Refuse(error, "a null pointer with a count above 0");
  for (size_t i = 0; i < count; ++i) {
    if (names[i] == nullptr) return Refuse(error, "a name is null");
    to->emplace_back(names[i]);
  }
  return true;
}

// What the functions of `replies` take.
struct Request {
  replies::TableRequest table;
  replies::StreamOptions stream;
};

bool TakeRequest(const Options& options, Request* request, tesparser_error* error) {
  request->table.id = options.id;
  if (options.type != 0) request->table.type = static_cast<TPType>(options.type);
  request->table.decode = options.decode != 0;
  request->table.unpack.all = options.unpack_all != 0;
  request->stream.flat = options.flat != 0;
  request->stream.number = options.number != 0;
  request->stream.offset = options.offset != 0;
  request->stream.batch_rows = options.batch_rows;
  request->stream.on_misfit =
      options.on_misfit == TESPARSER_MISFIT_SKIPPED ? replies::OnMisfit::kSkip : replies::OnMisfit::kStop;
  return TakeNames(options.unpack_fields, options.unpack_field_count, &request->table.unpack.fields, error) &&
         TakeNames(options.columns, options.column_count, &request->stream.columns, error);
}

// The stream of `replies` with the caller's counts.
struct Stream {
  ArrowArrayStream inner{};
  replies::StreamCounts counts;
  tesparser_stream_counts* told = nullptr;

  Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() {
    if (inner.release != nullptr) inner.release(&inner);
  }

  void Tell() const {
    if (told != nullptr)
      *told = {counts.replies, counts.rows, counts.empty, counts.passed_over, counts.misfits};
  }
};

Stream* Of(ArrowArrayStream* stream) {
  return static_cast<Stream*>(stream->private_data);
}

int GetSchema(ArrowArrayStream* self, ArrowSchema* schema) {
  Stream* stream = Of(self);
  const int code = stream->inner.get_schema(&stream->inner, schema);
  stream->Tell();
  return code;
}

int GetNext(ArrowArrayStream* self, ArrowArray* array) {
  Stream* stream = Of(self);
  const int code = stream->inner.get_next(&stream->inner, array);
  stream->Tell();
  return code;
}

const char* GetLastError(ArrowArrayStream* self) {
  return Of(self)->inner.get_last_error(&Of(self)->inner);
}

void Release(ArrowArrayStream* self) {
  delete Of(self);
  self->release = nullptr;
}

std::function<void(const replies::Misfit&)> MisfitCall(const Options& options) {
  if (options.misfit == nullptr) return {};
  return [call = options.misfit, context = options.context](const replies::Misfit& misfit) {
    const tesparser_misfit told{misfit.number, misfit.offset, misfit.why.c_str()};
    call(context, &told);
  };
}

// Leaves `out` alone where it fails. The reason is told by `error`.
void Open(const std::shared_ptr<Replies>& source, const Options& options, ArrowArrayStream* out,
          tesparser_error* error) {
  Request request;
  if (source == nullptr || !TakeRequest(options, &request, error)) return;
  auto stream = std::make_unique<Stream>();
  stream->told = options.counts;
  std::string why;
  const auto next = [source](replies::Reply* reply, std::string* error_text) {
    return source->Read(reply, error_text);
  };
  if (!replies::MakeTableStream(next, request.table, request.stream, MisfitCall(options), &stream->counts,
                                &stream->inner, &why)) {
    return Fail(error, replies::HasTable(request.table) ? TESPARSER_BAD_ARGUMENT : TESPARSER_NO_TABLE_FORM,
                why);
  }
  stream->Tell();
  *out = {GetSchema, GetNext, GetLastError, Release, stream.release()};
}

// The reason is told by `error`.
template <typename OpenSource>
int32_t MakeStream(const Options* given, ArrowArrayStream* out, tesparser_error* error,
                   OpenSource open_source) noexcept {
  tesparser_error own;
  if (error == nullptr) error = &own;
  Clear(error);
  if (out == nullptr) {
    Fail(error, TESPARSER_BAD_ARGUMENT, "`stream` is null");
    return error->reason;
  }
  out->release = nullptr;
  Guarded(error, [&] {
    Options options;
    if (TakeOptions(given, &options, error)) Open(open_source(options.form, error), options, out, error);
  });
  return error->reason;
}

}  // namespace
}  // namespace capi

void tesparser_stream_options_init(tesparser_stream_options* options, size_t size) {
  if (options == nullptr) return;
  const tesparser_stream_options defaults = capi::Defaults();
  std::memset(options, 0, size);
  std::memcpy(options, &defaults, std::min(size, sizeof defaults));
  if (size >= sizeof options->size) options->size = size;
}

int32_t tesparser_stream_file(const char* path, const tesparser_stream_options* options,
                              struct ArrowArrayStream* stream, tesparser_error* error) {
  return capi::MakeStream(options, stream, error, [path](int32_t form, tesparser_error* why) {
    return capi::OpenFile(path, form, why);
  });
}

int32_t tesparser_stream_memory(const void* bytes, size_t size, const tesparser_stream_options* options,
                                struct ArrowArrayStream* stream, tesparser_error* error) {
  return capi::MakeStream(options, stream, error, [bytes, size](int32_t form, tesparser_error* why) {
    return capi::OpenMemory(bytes, size, form, why);
  });
}
