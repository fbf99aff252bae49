// Replies of one Id or layout as a stream of Arrow arrays, for engines and data frames.
#ifndef REPLIES_TABLE_STREAM_H_
#define REPLIES_TABLE_STREAM_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "replies/reply_reader.h"
#include "replies/table_batch.h"
#include "tsl_base/arrow.h"

namespace replies {

enum class OnMisfit { kStop, kSkip };

struct StreamOptions {
  // A row for each innermost row: outer cells are repeated, and names are "Data.ShiJian". A row whose tables
  // have no rows is a row itself, where an unset table and one without rows look alike. Otherwise tables are
  // lists of structs.
  bool flat = true;
  std::vector<std::string> columns;  // by their own names, also those inside tables; empty: all
  int64_t batch_rows = 65536;        // a batch is handed out when it has that many rows (a reply is never
                                     // divided), when it is large, or at the end
  bool number = false;               // column "_reply", uint64: number of the reply in its source, from 1
  bool offset = false;               // column "_offset", uint64: where it begins in its source
  OnMisfit on_misfit = OnMisfit::kStop;
};

// A reply that is not in the stream, or could not be read.
struct Misfit {
  uint64_t number = 0;  // 0 where none is known
  uint64_t offset = 0;
  std::string why;
};

struct StreamCounts {
  uint64_t replies = 0;
  uint64_t rows = 0;
  uint64_t empty = 0;        // replies with nothing in their payload, or with tables without rows
  uint64_t passed_over = 0;  // of other Ids
  uint64_t misfits = 0;
};

// Gives the replies one by one, as ReplyReader::Read() does. May throw.
using NextReply = std::function<Next(Reply* reply, std::string* error)>;

// Makes a stream, which is the caller's to release, at any time. It may be used by one thread at a time.
//
// get_schema  The type of the batches is known before the first reply is read, from the description of the
//   columns; with Id 3, whose senders choose the columns, and with Id 0 the first reply is read. Fields have
//   the metadata "heading", "heading_zh", "meaning", "unit", "kind" and "source" as far as they are told
//   (with `decode`: "type", as the schema declares it), and the schema has "id", "payload" and, of a typed
//   layout, "type". A source without a reply that tells columns gives a type without columns.
// get_next    Pulls replies until a batch is full; a released array at the end. It gives EINVAL for a misfit
//   under kStop, behind the rows before it; get_last_error() then tells which reply it was, and why. A misfit
//   is what is no reply, a reply whose table has other columns, or one that is too large for a batch
//   (table_batch.h) or a wire table that contradicts itself. EIO is what the source throws, ENOMEM tells that
//   memory ran out. All further calls give the same error.
//
// A message inside itself (`decode`) is unfolded kMostUnfolded times; a reply in which it goes deeper is a
// misfit. `on_misfit` may be empty and is called for every misfit that is skipped. `counts` may be null and
// is kept up to date; it has to live as long as the stream.
//
// Returns false and why for a request of a table or of columns that there are not. Throws std::bad_alloc.
bool MakeTableStream(NextReply next, const TableRequest& request, const StreamOptions& options,
                     std::function<void(const Misfit&)> on_misfit, StreamCounts* counts,
                     ArrowArrayStream* out, std::string* error);

}  // namespace replies

#endif  // REPLIES_TABLE_STREAM_H_
