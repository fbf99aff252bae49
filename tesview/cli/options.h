// The command line: what it may hold, and what the user asked for.
//
// Help, manual page and completions are made from the definitions in options.cpp, so that they cannot
// disagree.
#ifndef TESVIEW_CLI_OPTIONS_H_
#define TESVIEW_CLI_OPTIONS_H_

#include <string>
#include <vector>

#include "tesview/commands/requests.h"

namespace tesview {

struct IdsCommand {
  std::vector<std::string> words;
  bool only_tables = false;
};

struct SchemaCommand {
  std::vector<std::string> names;
  bool all = false;
};

struct NumberCommand {
  std::vector<std::string> values;
  bool packed = false;
  bool pack = false;
};

enum class PackForm { kRaw, kDelimited, kHex, kBase64 };

struct PackCommand {
  std::vector<std::string> paths;
  std::string output;  // empty for standard output
  PackForm form = PackForm::kRaw;
  bool partial = false;
};

enum class Command { kShow, kIds, kSchema, kNumber, kPack, kPrinted };

struct Arguments {
  Command command = Command::kShow;
  Job show;
  IdsCommand ids;
  SchemaCommand schema;
  NumberCommand number;
  PackCommand pack;
  std::string printed;  // what was asked to be printed: help, version
};

// Wrong usage: one sentence.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

Arguments ParseArguments(int argc, const char* const* argv);

}  // namespace tesview

#endif  // TESVIEW_CLI_OPTIONS_H_
