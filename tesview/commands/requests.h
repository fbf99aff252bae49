// What the user asked for: one struct for each command. The command line makes them, the commands answer
// them.
#ifndef TESVIEW_COMMANDS_REQUESTS_H_
#define TESVIEW_COMMANDS_REQUESTS_H_

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "replies/form.h"
#include "tesview/show/view.h"

namespace tesview {

enum class When { kAuto, kAlways, kNever };

// Which replies are taken, in this order: of these Ids, one of so many, without the first ones, no more than
// that.
struct FilterRequest {
  std::vector<int32_t> ids;  // empty for all
  uint64_t every = 1;        // by the number that a reply has in its source: the first one of so many
  uint64_t skip = 0;
  std::optional<uint64_t> limit;
};

struct ShowRequest {
  std::vector<std::string> paths;  // files, directories, "-"
  replies::Form from = replies::Form::kAuto;
  bool resync = true;  // goes on behind damage
  FilterRequest filter;
  View view;
  int jobs = 1;
  bool strict = false;
  When progress = When::kAuto;
  std::string output;    // a file to make; empty for standard output. With view.split a pattern of names
  bool replace = false;  // also where there is such a file already
  bool open = false;     // in the program that the desktop has for it
  bool bom = false;      // in front of csv and tsv
  bool redact = false;   // without secrets
};

struct StatRequest {
  std::vector<std::string> paths;
  replies::Form from = replies::Form::kAuto;
  FilterRequest filter;
  bool rows = false;  // decodes them
  bool as_json = false;
  int jobs = 1;
  bool strict = false;
  When progress = When::kAuto;
};

struct IdsRequest {
  std::vector<std::string> words;
  bool only_tables = false;
};

enum class ColumnsForm { kTable, kJson, kMarkdown, kNames };

struct ColumnsRequest {
  std::vector<std::string> words;  // "21", "QuoteKlineSingle/Data"; empty for all
  std::optional<TPType> type;
  ColumnsForm form = ColumnsForm::kTable;
};

struct SchemaRequest {
  std::vector<std::string> names;
  bool all = false;
};

struct NumberRequest {
  std::vector<std::string> values;
  bool packed = false;
  bool pack = false;
};

enum class PackForm { kRaw, kDelimited, kFixed32Be, kFixed32Le, kHex, kBase64 };

struct PackRequest {
  std::vector<std::string> paths;
  std::string output;  // empty for standard output
  PackForm form = PackForm::kRaw;
  bool partial = false;
};

// A text that is ready: help, version, completions.
struct PrintRequest {
  std::string text;
};

using Request = std::variant<ShowRequest, StatRequest, IdsRequest, ColumnsRequest, SchemaRequest,
                             NumberRequest, PackRequest, PrintRequest>;

// Wrong usage: one sentence.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_REQUESTS_H_
