#include "tests/engines/duckdb_session.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdint>

#include "replies/arrow_check.h"

namespace duckdb_session {
namespace {

// What of DuckDB's C interface is called here. The package has the library without its header.
using idx_t = uint64_t;
constexpr int kSuccess = 0;

struct RawResult {
  idx_t deprecated_column_count;
  idx_t deprecated_row_count;
  idx_t deprecated_rows_changed;
  void* deprecated_columns;
  char* deprecated_error_message;
  void* internal_data;
};

// Up to 12 bytes lie in the struct itself, from `prefix` on.
struct RawString {
  uint32_t length;
  char prefix[4];
  char* data;
};

std::string LastError(ArrowArrayStream* stream) {
  const char* said = stream->get_last_error(stream);
  return said == nullptr ? "the stream failed" : said;
}

// "name" with its quotes.
std::string Quoted(const std::string& name) {
  std::string quoted = "\"";
  for (const char c : name)
    quoted += c == '"' ? "\"\"" : std::string(1, c);
  return quoted + "\"";
}

void ReleaseNothing(ArrowSchema* schema) {
  schema->release = nullptr;
}

// The caller's stream as DuckDB gets it. DuckDB asks for the schema several times and never releases it: it
// is lent one that stays here.
class LentStream {
 public:
  LentStream(ArrowArrayStream* source, Check check) : source_(source), check_(check) {
    if (source_->get_schema(source_, &schema_) != 0) {
      const std::string error = LastError(source_);
      source_->release(source_);
      throw Error(error);
    }
    lent_.get_schema = [](ArrowArrayStream* stream, ArrowSchema* out) {
      return Self(stream)->GetSchema(out);
    };
    lent_.get_next = [](ArrowArrayStream* stream, ArrowArray* out) { return Self(stream)->GetNext(out); };
    lent_.get_last_error = [](ArrowArrayStream* stream) { return Self(stream)->error_.c_str(); };
    lent_.release = [](ArrowArrayStream* stream) { stream->release = nullptr; };
    lent_.private_data = this;
  }
  LentStream(const LentStream&) = delete;
  LentStream& operator=(const LentStream&) = delete;
  ~LentStream() {
    schema_.release(&schema_);
    source_->release(source_);
  }

  ArrowArrayStream* get() { return &lent_; }
  const ArrowSchema& schema() const { return schema_; }

 private:
  static LentStream* Self(ArrowArrayStream* stream) { return static_cast<LentStream*>(stream->private_data); }

  int GetSchema(ArrowSchema* out) const {
    *out = schema_;
    out->release = ReleaseNothing;
    return 0;
  }

  int GetNext(ArrowArray* out) {
    if (source_->get_next(source_, out) != 0) return Fail(LastError(source_));
    if (out->release == nullptr || check_ == Check::kNo) return 0;
    const std::string fault = replies::CheckArrow(schema_, *out);
    if (fault.empty()) return 0;
    out->release(out);
    return Fail("not an Arrow array: " + fault);
  }

  int Fail(const std::string& error) {
    error_ = error;
    return EIO;
  }

  ArrowArrayStream* source_;
  Check check_;
  ArrowSchema schema_{};
  ArrowArrayStream lent_{};
  std::string error_;
};

}  // namespace

struct Session::Library {
  explicit Library(const std::string& path) : handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) throw Error(std::string(dlerror()) + " (scripts/setup engines installs it)");
    Find("duckdb_library_version", &library_version);
    Find("duckdb_open", &open);
    Find("duckdb_close", &close);
    Find("duckdb_connect", &connect);
    Find("duckdb_disconnect", &disconnect);
    Find("duckdb_query", &query);
    Find("duckdb_destroy_result", &destroy_result);
    Find("duckdb_result_error", &result_error);
    Find("duckdb_column_count", &column_count);
    Find("duckdb_column_name", &column_name);
    Find("duckdb_fetch_chunk", &fetch_chunk);
    Find("duckdb_destroy_data_chunk", &destroy_data_chunk);
    Find("duckdb_data_chunk_get_size", &data_chunk_get_size);
    Find("duckdb_data_chunk_get_vector", &data_chunk_get_vector);
    Find("duckdb_vector_get_data", &vector_get_data);
    Find("duckdb_vector_get_validity", &vector_get_validity);
    Find("duckdb_string_t_length", &string_length);
    Find("duckdb_string_t_data", &string_data);
    Find("duckdb_arrow_scan", &arrow_scan);
  }

  template <typename F>
  void Find(const char* name, F* function) {
    void* symbol = dlsym(handle, name);
    if (symbol == nullptr) throw Error(std::string("DuckDB without ") + name);
    *function = reinterpret_cast<F>(symbol);
  }

  void* handle;  // stays open: the library is not made to be closed
  const char* (*library_version)();
  int (*open)(const char* path, void** database);
  void (*close)(void** database);
  int (*connect)(void* database, void** connection);
  void (*disconnect)(void** connection);
  int (*query)(void* connection, const char* sql, RawResult* result);
  void (*destroy_result)(RawResult* result);
  const char* (*result_error)(RawResult* result);
  idx_t (*column_count)(RawResult* result);
  const char* (*column_name)(RawResult* result, idx_t column);
  void* (*fetch_chunk)(RawResult result);
  void (*destroy_data_chunk)(void** chunk);
  idx_t (*data_chunk_get_size)(void* chunk);
  void* (*data_chunk_get_vector)(void* chunk, idx_t column);
  void* (*vector_get_data)(void* vector);
  uint64_t* (*vector_get_validity)(void* vector);
  uint32_t (*string_length)(RawString string);
  const char* (*string_data)(RawString* string);
  int (*arrow_scan)(void* connection, const char* view, ArrowArrayStream* stream);
};

namespace {

template <typename Library>
class Answer {
 public:
  Answer(const Library& library, void* connection, const std::string& sql) : library_(library) {
    if (library_.query(connection, sql.c_str(), &raw_) == kSuccess) return;
    const char* said = library_.result_error(&raw_);
    const std::string error = said == nullptr ? "the query failed" : said;
    library_.destroy_result(&raw_);
    throw Error(error + "\n" + sql);
  }
  Answer(const Answer&) = delete;
  Answer& operator=(const Answer&) = delete;
  ~Answer() { library_.destroy_result(&raw_); }

  // All columns have to be text.
  Result Read() {
    Result result;
    const idx_t columns = library_.column_count(&raw_);
    for (idx_t i = 0; i < columns; ++i)
      result.names.emplace_back(library_.column_name(&raw_, i));
    while (void* chunk = library_.fetch_chunk(raw_)) {
      const size_t first = result.rows.size();
      result.rows.resize(first + library_.data_chunk_get_size(chunk));
      for (idx_t i = 0; i < columns; ++i)
        ReadColumn(library_.data_chunk_get_vector(chunk, i), first, &result);
      library_.destroy_data_chunk(&chunk);
    }
    return result;
  }

 private:
  void ReadColumn(void* vector, size_t first, Result* result) const {
    auto* strings = static_cast<RawString*>(library_.vector_get_data(vector));
    const uint64_t* valid = library_.vector_get_validity(vector);
    for (size_t i = 0; first + i < result->rows.size(); ++i) {
      const bool is_null = valid != nullptr && (valid[i / 64] >> (i % 64) & 1) == 0;
      Cell cell;
      if (!is_null) cell = std::string(library_.string_data(&strings[i]), library_.string_length(strings[i]));
      result->rows[first + i].push_back(std::move(cell));
    }
  }

  const Library& library_;
  RawResult raw_{};
};

}  // namespace

std::string TextOf(const Result& result) {
  std::string text;
  for (const auto& row : result.rows) {
    for (size_t i = 0; i < row.size(); ++i)
      text += (i == 0 ? "" : "|") + row[i].value_or("NULL");
    text += "\n";
  }
  return text;
}

Session::Session(const std::string& library) : library_(std::make_unique<Library>(library)) {
  if (library_->open(nullptr, &database_) != kSuccess) throw Error("no database can be opened");
  try {
    if (library_->connect(database_, &connection_) != kSuccess) throw Error("no connection to the database");
    // What the library was not built with, it may not fetch.
    Run("SET autoinstall_known_extensions = false");
    Run("SET autoload_known_extensions = false");
    if (!Query("SELECT 1 FROM duckdb_extensions() WHERE extension_name = 'icu' AND loaded").rows.empty())
      Run("SET TimeZone = 'UTC'");
  } catch (const Error&) {
    Close();
    throw;
  }
}

Session::~Session() {
  Close();
}

void Session::Close() {
  if (connection_ != nullptr) library_->disconnect(&connection_);
  library_->close(&database_);
}

std::string Session::Version() const {
  return library_->library_version();
}

void Session::Ingest(const std::string& name, ArrowArrayStream* stream, Check check) {
  LentStream lent(stream, check);
  if (lent.schema().n_children == 0) throw Error("a table has at least one column");
  const char* view = "arrow_stream_to_ingest";
  if (library_->arrow_scan(connection_, view, lent.get()) != kSuccess)
    throw Error("DuckDB refuses the stream");
  try {
    Run("CREATE TABLE " + Quoted(name) + " AS SELECT * FROM " + view);
  } catch (const Error&) {
    Run(std::string("DROP VIEW ") + view);
    throw;
  }
  Run(std::string("DROP VIEW ") + view);
}

Result Session::Query(const std::string& select) {
  return Answer<Library>(*library_, connection_, "SELECT CAST(COLUMNS(*) AS VARCHAR) FROM (" + select + ")")
      .Read();
}

void Session::Run(const std::string& statement) {
  const Answer<Library> answer(*library_, connection_, statement);
}

}  // namespace duckdb_session
