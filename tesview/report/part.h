// What a report holds of one reply.
#ifndef TESVIEW_REPORT_PART_H_
#define TESVIEW_REPORT_PART_H_

#include <cstdint>
#include <string>

#include "tsl_base/table.hpp"

namespace tesview {

struct ReportPart {
  int32_t id = 0;
  int type = 0;          // of the layout; 0 for that of the Id
  bool decoded = false;  // the table is by the schema alone, nothing is told of its columns
  int rows = 0;
  int columns = 0;
  std::string note;   // why there is no table of the Id
  std::string table;  // an Arrow stream of one batch; empty if there is none
  std::string tree;   // JSON; empty where the table is all
};

// The table as a stream of Arrow's IPC format with one batch. False, and why, for a table that Arrow cannot
// hold; throws std::bad_alloc. Its texts must be UTF-8.
bool TableToIpc(tsl_base::Table table, std::string* ipc, std::string* error);

}  // namespace tesview

#endif  // TESVIEW_REPORT_PART_H_
