#include "tesview/terminal/packed_writer.h"

#include <archive.h>
#include <archive_entry.h>
#include <fmt/format.h>

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "tesview/terminal/output.h"

namespace tesview {
namespace {

constexpr int kPackedBlock = 64 * 1024;

struct PackingName {
  std::string_view ending;
  Packing packing;
};

constexpr PackingName kPackings[] = {{".gz", Packing::kGzip},
                                     {".bz2", Packing::kBzip2},
                                     {".xz", Packing::kXz},
                                     {".zst", Packing::kZstd},
                                     {".lz4", Packing::kLz4}};

const PackingName* FindPacking(std::string_view path) {
  for (const PackingName& each : kPackings) {
    const size_t size = each.ending.size();
    if (path.size() > size && path.substr(path.size() - size) == each.ending) return &each;
  }
  return nullptr;
}

int AddFilter(Packing packing, archive* to) {
  switch (packing) {
    case Packing::kNone: return ARCHIVE_OK;
    case Packing::kGzip: return archive_write_add_filter_gzip(to);
    case Packing::kBzip2: return archive_write_add_filter_bzip2(to);
    case Packing::kXz: return archive_write_add_filter_xz(to);
    case Packing::kZstd: return archive_write_add_filter_zstd(to);
    case Packing::kLz4: return archive_write_add_filter_lz4(to);
  }
  return ARCHIVE_FATAL;
}

}  // namespace

Packing PackingOf(std::string_view path) {
  const PackingName* found = FindPacking(path);
  return found == nullptr ? Packing::kNone : found->packing;
}

std::string_view WithoutPacking(std::string_view path) {
  const PackingName* found = FindPacking(path);
  return found == nullptr ? path : path.substr(0, path.size() - found->ending.size());
}

PackedWriter::PackedWriter(Packing packing, Write write)
    : archive_(archive_write_new()), write_(std::move(write)) {
  if (archive_ == nullptr) throw std::bad_alloc();
  const std::unique_ptr<archive_entry, decltype(&archive_entry_free)> entry(archive_entry_new(),
                                                                            archive_entry_free);
  if (entry == nullptr) throw std::bad_alloc();
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  try {
    // A filter of another program in its place would be only a warning.
    if (AddFilter(packing, archive_) != ARCHIVE_OK)
      throw OutputError("cannot compress the output: this system has no such compression");
    // The same output gives the same bytes, and no padding follows them.
    if (packing == Packing::kGzip) archive_write_set_filter_option(archive_, "gzip", "timestamp", nullptr);
    archive_write_set_bytes_per_block(archive_, kPackedBlock);
    archive_write_set_bytes_in_last_block(archive_, 1);
    Check(archive_write_set_format_raw(archive_));
    static_assert(std::is_same_v<la_ssize_t, long>);
    Check(archive_write_open(archive_, this, nullptr, &PackedWriter::Take, nullptr));
    Check(archive_write_header(archive_, entry.get()));
  } catch (...) {
    archive_write_fail(archive_);
    archive_write_free(archive_);
    throw;
  }
}

PackedWriter::~PackedWriter() {
  // Freed as it is, it would write the rest.
  archive_write_fail(archive_);
  archive_write_free(archive_);
}

long PackedWriter::Take(struct archive* /*of*/, void* self, const void* bytes, size_t size) {
  auto* writer = static_cast<PackedWriter*>(self);
  // No exception may pass through C.
  try {
    writer->write_({static_cast<const char*>(bytes), size});
  } catch (...) {
    writer->failure_ = std::current_exception();
    return -1;
  }
  return static_cast<long>(size);
}

void PackedWriter::Check(long result) {
  if (failure_) std::rethrow_exception(failure_);
  if (result >= ARCHIVE_OK) return;
  const char* why = archive_error_string(archive_);
  throw OutputError(fmt::format("cannot compress the output: {}", why == nullptr ? "no memory" : why));
}

void PackedWriter::Add(std::string_view bytes) {
  while (!bytes.empty()) {
    const long taken = archive_write_data(archive_, bytes.data(), bytes.size());
    Check(taken);
    bytes.remove_prefix(static_cast<size_t>(taken));
  }
}

void PackedWriter::End() {
  Check(archive_write_close(archive_));
}

}  // namespace tesview
