// Replies of several Ids into DuckDB tables, one for each Id, by three routes in one run:
//
//   arrow    a stream of Arrow arrays for each Id, by the C data interface
//   csv      tesview --to csv into a file, which DuckDB reads
//   ndjson   tesview --to ndjson into a file, which DuckDB reads
//
//   tesparser_engines TESVIEW LIBDUCKDB DIRECTORY TIMES SAMPLE...
//
// Each sample becomes a file of its own in DIRECTORY, of TIMES replies with their lengths before them: the
// csv of several Ids would be no table.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "replies/table_stream.h"
#include "replies/wire.h"
#include "tests/engines/duckdb_session.h"

namespace {

using duckdb_session::Check;
using duckdb_session::Session;

struct Input {
  std::string reply;
  std::string path;  // of the file with many of them
  int32_t id = 0;
};

[[noreturn]] void End(const std::string& what) {
  std::fprintf(stderr, "tesparser_engines: %s\n", what.c_str());
  std::exit(1);
}

std::string LengthOf(size_t size) {
  std::string bytes;
  for (; size > 0x7F; size >>= 7)
    bytes += static_cast<char>(static_cast<unsigned char>((size & 0x7F) | 0x80));
  return bytes + static_cast<char>(size);
}

Input MakeInput(const std::string& sample, const std::string& directory, int times) {
  std::ifstream file(sample, std::ios::binary);
  Input input;
  input.reply.assign(std::istreambuf_iterator<char>(file), {});
  if (!replies::FindId(input.reply, &input.id)) End(sample + ": no reply");
  input.path = directory + "/" + std::to_string(input.id);
  std::ofstream many(input.path + ".bin", std::ios::binary);
  const std::string one = LengthOf(input.reply.size()) + input.reply;
  for (int i = 0; i < times; ++i)
    many << one;
  return input;
}

std::string TableOf(const Input& input) {
  return "t" + std::to_string(input.id);
}

void ByArrow(Session* session, const Input& input) {
  std::ifstream file(input.path + ".bin", std::ios::binary);
  const auto next = [&file, &input](replies::Reply* to, std::string*) {
    size_t size = 0;
    for (int shift = 0;; shift += 7) {
      const int byte = file.get();
      if (byte < 0) return replies::Next::kEnd;
      size |= static_cast<size_t>(byte & 0x7F) << shift;
      if (byte < 0x80) break;
    }
    to->bytes.resize(size);
    if (!file.read(to->bytes.data(), static_cast<std::streamsize>(size))) End(input.path + ": cut off");
    return replies::Next::kReply;
  };
  replies::TableRequest request;
  request.id = input.id;
  ArrowArrayStream stream{};
  std::string error;
  if (!replies::MakeTableStream(next, request, {}, {}, nullptr, &stream, &error)) End(error);
  session->Ingest(TableOf(input), &stream, Check::kNo);
}

void ByText(Session* session, const Input& input, const std::string& tesview, const std::string& form) {
  const std::string path = input.path + "." + form;
  const std::string command = tesview + " --to " + form + " " + input.path + ".bin > " + path;
  if (std::system(command.c_str()) != 0) End(command);
  const std::string read = form == "csv" ? "read_csv('" : "read_ndjson('";
  session->Run("CREATE TABLE " + TableOf(input) + " AS SELECT * FROM " + read + path + "')");
}

double SecondsOf(const std::function<void()>& run) {
  const auto before = std::chrono::steady_clock::now();
  run();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 6) End("usage: tesparser_engines TESVIEW LIBDUCKDB DIRECTORY TIMES SAMPLE...");
  std::vector<Input> inputs;
  for (int i = 5; i < argc; ++i)
    inputs.push_back(MakeInput(argv[i], argv[3], std::atoi(argv[4])));
  for (const std::string route : {"arrow", "csv", "ndjson"}) {
    Session session(argv[2]);
    const double seconds = SecondsOf([&] {
      for (const Input& input : inputs) {
        if (route == "arrow") {
          ByArrow(&session, input);
        } else {
          ByText(&session, input, argv[1], route);
        }
      }
    });
    std::printf("%-7s %7.2f s ", route.c_str(), seconds);
    for (const Input& input : inputs)
      std::printf(" %s %s rows", TableOf(input).c_str(),
                  session.Query("SELECT count(*) FROM " + TableOf(input)).rows[0][0]->c_str());
    std::printf("\n");
  }
  return 0;
}
