// DuckDB's library, opened while the program runs: a database in memory that takes Arrow arrays and answers
// SQL.
#ifndef TESTS_ENGINES_DUCKDB_SESSION_H_
#define TESTS_ENGINES_DUCKDB_SESSION_H_

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tsl_base/arrow.h"

namespace duckdb_session {

// What DuckDB, or the stream that it was given, has to complain of.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A cell as DuckDB writes it as text; none for null. Lists are "[1, NULL]", structs "{'n': 1, 't': one}".
using Cell = std::optional<std::string>;

struct Result {
  std::vector<std::string> names;
  std::vector<std::vector<Cell>> rows;
};

// "a|b\nNULL|d\n", without names: for short comparisons.
std::string TextOf(const Result& result);

// Whether each array is checked before DuckDB has it. Benchmarks do without.
enum class Check { kYes, kNo };

// For one thread at a time.
class Session {
 public:
  // `library` is the path of libduckdb.so. Times with a zone are shown in UTC.
  explicit Session(const std::string& library);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  std::string Version() const;

  // Makes the table `name` of all that the stream gives, and releases the stream, also where it throws. A
  // table, because a view of the stream could be read once only, and of a query for some columns DuckDB would
  // make others. The stream is read from DuckDB's threads, by one at a time.
  void Ingest(const std::string& name, ArrowArrayStream* stream, Check check = Check::kYes);

  // The answer to a SELECT or DESCRIBE, in the order that it asks for.
  Result Query(const std::string& select);

  // A statement without an answer, such as COPY or CREATE.
  void Run(const std::string& statement);

 private:
  struct Library;
  void Close();

  std::unique_ptr<Library> library_;
  void* database_ = nullptr;
  void* connection_ = nullptr;
};

}  // namespace duckdb_session

#endif  // TESTS_ENGINES_DUCKDB_SESSION_H_
