// docs/replies.md tells of every table form: here each section is held against what the library returns for
// the sample that it names, columns and viewer output alike, so that the page cannot drift.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"
#include "tests/support/tables.h"

namespace {

struct Section {
  std::string title;
  std::string text;
};

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// What stands under each "## " heading.
const std::vector<Section>& Sections() {
  static const std::vector<Section> sections = [] {
    std::vector<Section> found;
    for (const std::string& line : Lines(ReadFile(REPLIES_PAGE))) {
      if (line.rfind("## ", 0) == 0) {
        found.push_back({line.substr(3), ""});
      } else if (!found.empty()) {
        found.back().text += line + "\n";
      }
    }
    return found;
  }();
  return sections;
}

// The column tables of a section as specs: the rows "| 0 | `Obj` | `s` | ..." below one header.
std::vector<std::string> DocumentedSpecs(const std::string& text) {
  static const std::regex row(R"(^\| (\d+) \| `([^`]*)` \| `(\d*[a-zA-Z])` \|.*)");
  std::vector<std::string> specs;
  bool open = false;
  for (const std::string& line : Lines(text)) {
    std::smatch cells;
    if (std::regex_match(line, cells, row)) {
      if (!open) specs.emplace_back();
      open = true;
      specs.back() += cells[2].str() + ":" + cells[3].str() + ";";
    } else if (line.rfind("|---", 0) != 0) {
      open = false;
    }
  }
  return specs;
}

void CollectSpecs(void* table, std::set<std::string>* specs) {
  specs->insert(SpecOf(table));
  for (int col = 0; col < table_cols(table); ++col) {
    if (table_col_type(table, col) != 13) continue;
    for (int row = 0; row < table_rows(table); ++row) {
      if (void* child = table_get_table(table, row, col)) CollectSpecs(child, specs);
    }
  }
}

// "20 QuoteDynaSingle: ..." is by Id, "Type 1 `...": by type, "Types 101 to 116": of the sample's width, 3.
TPType TypeOf(const std::string& title) {
  if (title.rfind("Types 101", 0) == 0) return TPTypeZhiBiao3;
  if (title.rfind("Type ", 0) == 0) return static_cast<TPType>(std::stoi(title.substr(5)));
  return TPTypeById;
}

std::string SampleOf(const Section& section) {
  static const std::regex sample(R"(`samples/([^`]+)\.txtpb`)");
  std::smatch found;
  return std::regex_search(section.text, found, sample) ? found[1].str() : "";
}

std::string Output(const std::string& command) {
  std::string output;
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  if (pipe == nullptr) return "cannot run " + command;
  std::array<char, 4096> buffer{};
  size_t got = 0;
  while ((got = fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0)
    output.append(buffer.data(), got);
  return output;
}

}  // namespace

TEST(RepliesPage, HasASectionForEveryTableForm) {
  const std::set<std::string> wanted = {
      "3",   "20",  "21",  "27",  "28",  "55",     "115",    "130",    "271",    "272",      "273", "274",
      "303", "313", "321", "346", "385", "386",    "392",    "399",    "405",    "406",      "414", "421",
      "433", "437", "442", "443", "465", "Type 1", "Type 2", "Type 3", "Type 5", "Types 101"};
  std::set<std::string> found;
  for (const Section& section : Sections()) {
    std::smatch title;
    static const std::regex head(R"(^(\d+|Types? \d+) .*)");
    if (std::regex_match(section.title, title, head)) found.insert(title[1].str());
  }
  EXPECT_EQ(found, wanted);
}

TEST(RepliesPage, TellsTheColumnsThatTheSampleGives) {
  for (const Section& section : Sections()) {
    const std::string sample = SampleOf(section);
    // A wire table brings its own columns.
    if (sample.empty() || section.title.rfind("3 Tbl", 0) == 0) continue;
    SCOPED_TRACE(section.title);
    const OwnedTable table(TesparserPB2TableType(ReadFile(std::string(SAMPLE_DIR "/") + sample + ".bin"),
                                                 TypeOf(section.title)));
    ASSERT_NE(table, nullptr);
    std::set<std::string> given;
    CollectSpecs(table.get(), &given);
    std::set<std::string> documented;
    for (const std::string& spec : DocumentedSpecs(section.text))
      documented.insert(spec);
    EXPECT_EQ(documented, given);
  }
}

TEST(RepliesPage, ShowsWhatTheViewerPrints) {
  static const std::regex block(R"(```text\n\$ tesview ([^\n]*)\n([^`]*)```)");
  int blocks = 0;
  for (const Section& section : Sections()) {
    SCOPED_TRACE(section.title);
    for (std::sregex_iterator it(section.text.begin(), section.text.end(), block), end; it != end;
         ++it, ++blocks) {
      EXPECT_EQ((*it)[2].str(), Output("cd " SAMPLE_DIR " && " TESVIEW " " + (*it)[1].str() + " 2>&1"));
    }
  }
  EXPECT_GE(blocks, 34);
}
