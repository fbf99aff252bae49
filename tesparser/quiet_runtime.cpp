// For a runtime that is the library's own: no host can reach its log, and nobody asked for lines on standard
// error.
#include <google/protobuf/stubs/logging.h>

namespace {

[[maybe_unused]] const bool quiet = (google::protobuf::SetLogHandler(nullptr), true);

}  // namespace
