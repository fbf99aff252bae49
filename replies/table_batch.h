// Replies of one kind as batches of rows.
#ifndef REPLIES_TABLE_BATCH_H_
#define REPLIES_TABLE_BATCH_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "replies/arrow_schema.h"
#include "replies/decode.h"
#include "replies/flatten.h"
#include "replies/reply_reader.h"
#include "replies/table_columns.h"
#include "tesparser/tesparser.h"
#include "tsl_base/arrow.h"
#include "tsl_base/table.hpp"

namespace replies {

// Which tables are made of the replies.
struct TableRequest {
  int32_t id =
      0;  // replies of other Ids are passed over; 0: the first reply decides, and another Id is a misfit
  std::optional<TPType> type;  // a typed layout in place of the Id's own table
  bool decode = false;         // by the schema alone (replies/decode.h)
  Unpack unpack;               // of `decode`
  // Makes of a reply's table the one whose rows are taken, with the same columns; may be empty. `type` is the
  // layout that it has. Called by whichever threads add replies; may throw.
  std::function<tsl_base::Table(tsl_base::Table table, int32_t id, std::optional<TPType> type)> choose_rows;
};

// Whether there are tables of that kind at all. Throws std::bad_alloc.
bool HasTable(const TableRequest& request);

// A reply that alone makes more cells than this, or more bytes of cells and texts with those that are
// repeated, is a misfit: it can announce far more than it has bytes.
inline constexpr uint64_t kMostTableCells = uint64_t{1} << 26;
inline constexpr uint64_t kMostTableBytes = uint64_t{768} << 20;
// A batch of so many bytes takes no more replies: as much as a core's own cache holds, since its tables are
// read once more when it is handed out.
inline constexpr uint64_t kFullBatchBytes = uint64_t{1} << 19;

// What the result of table_export_arrow(), which is not 0, says of that table.
std::string WhyNoArrays(int result);

// What became of a reply.
enum class Taken {
  kRows,
  kNoRows,      // a table without rows
  kEmpty,       // nothing in the payload
  kPassedOver,  // another Id than was asked for
  kMisfit,
};

// What is to be seen of tables.
struct ShownTables {
  bool flat = true;                  // a row for each innermost row
  std::vector<std::string> columns;  // all if there are none
  OriginColumns origin;
};

// What all batches of a stream have in common. Any number of threads may read one.
class TablePlan {
 public:
  // Null and why if there is no such table or no such column, and where it takes a reply to know the columns.
  // Throws std::bad_alloc.
  static std::unique_ptr<TablePlan> Make(const TableRequest& request, const ShownTables& shown,
                                         std::string* error);
  // Whether it takes a reply.
  static bool NeedsReply(const TableRequest& request);
  // With a reply. Null where it does not tell the columns: then `taken` tells what became of it, or is kRows
  // where it was good and there is no such column in it.
  static std::unique_ptr<TablePlan> MakeFrom(const std::string& reply, const TableRequest& request,
                                             const ShownTables& shown, Taken* taken, std::string* error);

  // The type of the batches, with what is told of the columns. The caller's to release.
  ArrowSchema MakeSchema() const;

  // The table of a reply, with UTF-8 in its texts. Where there is none, what the reply is, and why.
  tsl_base::Table MakeTable(const std::string& reply, Taken* taken, std::string* why) const;

  int32_t id() const { return request_.id; }
  bool flat() const { return flat_; }
  std::optional<TPType> type() const { return request_.type; }
  const OriginColumns& origin() const { return origin_; }
  const TableColumns& columns() const { return columns_; }
  const ShownColumns& shown() const { return shown_; }
  const ArrowSchema& table_schema() const { return *table_schema_; }

 private:
  static std::unique_ptr<TablePlan> Finish(const TableRequest& request, TableColumns columns,
                                           const ShownTables& shown, std::string* error);

  TableRequest request_;
  bool flat_ = true;
  OriginColumns origin_;
  TableColumns columns_;
  ShownColumns shown_;
  ArrowOwner<ArrowSchema> table_schema_;  // of all columns, as tables are exported
};

class TableMeasure;

// Gathers tables until they are handed out. One thread at a time; which one may change.
class TableBatch {
 public:
  // The plan has to live longer.
  explicit TableBatch(const TablePlan* plan);
  ~TableBatch();
  TableBatch(const TableBatch&) = delete;
  TableBatch& operator=(const TableBatch&) = delete;

  // Why a reply gives no rows, was passed over or is a misfit, in `why`. The file is shown in the plan's
  // column of that name; the tag is the caller's. Throws std::bad_alloc; the batch is then as it was.
  Taken Add(const Reply& reply, const std::string& file, uint64_t tag, std::string* why);

  bool empty() const { return tables_.empty(); }
  uint64_t rows() const { return rows_; }
  // Whether it is to be handed out before more is added.
  bool IsFull(uint64_t most_rows) const {
    return rows_ >= most_rows || bytes_ >= kFullBatchBytes || divided_;
  }

  // Hands rows out as an array of the plan's schema: of all replies, or where these cannot be handed out
  // together, of the first ones; the others stay. False where the first reply alone cannot be; it is gone
  // then, and which it was in `misfit` and why. Not to be called on an empty batch. Throws std::bad_alloc.
  bool Take(ArrowArray* out, RowOrigin* misfit, std::string* why);

 private:
  int Export(size_t count, ArrowArray* out);
  void Drop(size_t count);

  const TablePlan* plan_;
  std::unique_ptr<TableMeasure> measure_;
  // One of each for every reply.
  std::vector<tsl_base::Table> tables_;
  std::vector<RowOrigin> origins_;
  std::vector<uint64_t> rows_of_;
  std::vector<uint64_t> bytes_of_;
  uint64_t rows_ = 0;  // of all
  uint64_t bytes_ = 0;
  bool divided_ = false;  // what is there was too much to be handed out at once
};

}  // namespace replies

#endif  // REPLIES_TABLE_BATCH_H_
