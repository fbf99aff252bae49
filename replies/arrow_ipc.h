// Arrow's IPC stream format: a message with the schema, one for each batch of rows, and a mark for the end.
//
// 1. Schema and batches come by Arrow's C data interface. They are read during the call and stay the
// caller's. The
//    schema is a struct whose children are the columns, and each batch is an array of it.
// 2. Bytes go to a sink as they arise. Numbers and texts go there from the buffers they lie in; what is built
// beside them
//    is the metadata, validity bitmaps, and offsets that do not begin with 0. Nothing outlives a call.
// 3. The functions have no state: any number of threads may write batches, each to a sink of its own.
// 4. They return false where the sink did, with `error` empty, and where the input is nothing that can be
// written, with
//    `error` telling why. All that can be found out about a batch without reading its values is found out
//    before its first byte goes to the sink.
//
// Every length that a batch tells is taken as true; CheckArrow() is there for input of unknown origin.
#ifndef REPLIES_ARROW_IPC_H_
#define REPLIES_ARROW_IPC_H_

#include <functional>
#include <string>
#include <string_view>

#include "tsl_base/arrow.h"

namespace replies {

// Takes the bytes, which are gone after the call. False if it wants no more.
using IpcSink = std::function<bool(std::string_view bytes)>;

// A sink that appends to `to`.
IpcSink AppendTo(std::string* to);

bool WriteIpcSchema(const ArrowSchema& schema, const IpcSink& sink, std::string* error);

// Of every array only the slice is written that its offset and length, and those of its parents, tell. A
// batch has no rows that are null as a whole: such a struct is refused.
bool WriteIpcBatch(const ArrowSchema& schema, const ArrowArray& batch, const IpcSink& sink,
                   std::string* error);

bool WriteIpcEnd(const IpcSink& sink);

// All of it for one stream of arrays, a batch in memory at a time. The stream stays the caller's to release.
// Where the stream itself fails, what it says is the error, and the end is not written.
bool WriteIpcStream(ArrowArrayStream* stream, const IpcSink& sink, std::string* error);

}  // namespace replies

#endif  // REPLIES_ARROW_IPC_H_
