// Claim: any number of threads may call any function at once, the very first time too. Ends with 0 if every
// thread got what a thread alone gets.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tesparser_c.h"
#include "tsl_base/table.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 50;
constexpr int kCalls = 6;

std::atomic<bool> go{false};
std::atomic<int> wrong{0};

void Expect(bool condition, const char* what) {
  if (condition) return;
  ++wrong;
  std::fprintf(stderr, "wrong: %s\n", what);
}

// One snapshot of "SH600000" with a last price of 12.34, and the same cut.
const std::string kReply("\x08\x14\xa2\x01\x13\x0a\x08SH600000\x12\x07\x08\x01\x10\x02\x18\xd2\x09", 24);
const std::string kCut = kReply.substr(0, 20);

void Json() {
  tesparser_error error;
  char* text = tesparser_json(kReply.data(), kReply.size(), nullptr, &error);
  Expect(text != nullptr && std::strstr(text, "SH600000") != nullptr, "JSON");
  tesparser_free(text);
  Expect(tesparser_json(kCut.data(), kCut.size(), nullptr, &error) == nullptr && error.offset == 2,
         "a reason");
}

void Table() {
  tesparser_error error;
  void* table = tesparser_table(kReply.data(), kReply.size(), 0, TESPARSER_TEXT_UTF8, &error);
  Expect(table_rows(table) == 1, "a table");
  table_free(table);
  Expect(tesparser_table(kReply.data(), kReply.size(), 5, TESPARSER_TEXT_UTF8, &error) == nullptr &&
             error.reason == TESPARSER_NO_TABLE_FORM,
         "no table form");
}

void Arrow() {
  ArrowSchema schema;
  ArrowArray array;
  if (tesparser_arrow(kReply.data(), kReply.size(), 0, &schema, &array, nullptr) != TESPARSER_OK)
    return Expect(false, "an Arrow array");
  Expect(array.length == 1, "a row");
  array.release(&array);
  schema.release(&schema);
}

void Reader() {
  tesparser_reply reply;
  tesparser_reader* reader = tesparser_read_memory("Id: 20", 6, TESPARSER_FORM_TEXT, nullptr);
  Expect(tesparser_next(reader, &reply, nullptr) == TESPARSER_NEXT_REPLY && reply.id == 20, "a reply");
  tesparser_reader_free(reader);
}

void Stream() {
  ArrowArrayStream stream;
  if (tesparser_stream_memory(kReply.data(), kReply.size(), nullptr, &stream, nullptr) != TESPARSER_OK)
    return Expect(false, "a stream");
  ArrowArray array;
  Expect(stream.get_next(&stream, &array) == 0 && array.length == 1, "a batch");
  if (array.release != nullptr) array.release(&array);
  stream.release(&stream);
}

void Descriptions() {
  size_t count = 0;
  Expect(tesparser_payloads(&count, nullptr) != nullptr && count > 400, "Ids");
  Expect(tesparser_find_layout(20, 0, "Data", nullptr) != nullptr, "columns");
}

// Each thread begins with another function.
void Work(int first) {
  void (*const calls[])() = {Json, Table, Arrow, Reader, Stream, Descriptions};
  while (!go)
    std::this_thread::yield();
  for (int i = 0; i < kRounds * kCalls; ++i)
    calls[(first + i) % kCalls]();
}

}  // namespace

int main() {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back(Work, i);
  go = true;
  for (std::thread& thread : threads)
    thread.join();
  std::printf("%d threads, %d calls each, %d wrong\n", kThreads, kRounds * kCalls, wrong.load());
  return wrong == 0 ? 0 : 1;
}
