#include "tesview/report/part.h"

#include <cerrno>
#include <new>

#include "replies/arrow_ipc.h"
#include "replies/arrow_schema.h"
#include "tsl_base/arrow.h"

namespace tesview {

bool TableToIpc(tsl_base::Table table, std::string* ipc, std::string* error) {
  replies::ArrowOwner<ArrowSchema> schema;
  replies::ArrowOwner<ArrowArray> array;
  const int failure = table_export_arrow(table.get(), schema.get(), array.get());
  if (failure == ENOMEM) throw std::bad_alloc();
  if (failure != 0) {
    *error = failure == EINVAL ? "tables in one of its columns differ in their columns"
                               : "its tables are too large or too deep";
    return false;
  }
  static_cast<void>(table.release());
  const replies::IpcSink sink = replies::AppendTo(ipc);
  return replies::WriteIpcSchema(*schema, sink, error) &&
         replies::WriteIpcBatch(*schema, *array, sink, error) && replies::WriteIpcEnd(sink);
}

}  // namespace tesview
