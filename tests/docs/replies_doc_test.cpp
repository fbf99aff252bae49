// docs/replies.md tells of every table form. Here it is held against the library: a section for each form
// that there is, the columns that the sample of the section gives, and the viewer's own words wherever the
// page shows them. The latter are written by this program, with TESVIEW_UPDATE=1.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"
#include "tests/support/program.h"
#include "tests/support/tables.h"

namespace {

using Lines = std::vector<std::string>;

struct Section {
  std::string title;
  std::string text;
};

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

Lines LinesOf(const std::string& text) {
  Lines lines;
  std::stringstream in(text);
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

// What is below each "## " heading.
const std::vector<Section>& Sections() {
  static const std::vector<Section> sections = [] {
    std::vector<Section> found;
    for (const std::string& line : LinesOf(ReadFile(REPLIES_PAGE))) {
      if (StartsWith(line, "## ")) {
        found.push_back({line.substr(3), ""});
      } else if (!found.empty()) {
        found.back().text += line + "\n";
      }
    }
    return found;
  }();
  return sections;
}

// Runs a line of shell in the samples' folder; "tesview" is the built one. All that it prints, errors
// included.
program::Result RunLine(const std::string& line) {
  const std::string programs = std::filesystem::path(TESVIEW).parent_path().string();
  return program::Shell(line + " 2>&1", programs, SAMPLE_DIR);
}

// ---- the sections -----------------------------------------------------------------------------------------

// What the heading of a section says of its form: "20 QuoteDynaSingle", "`TPTypeDaDan` (Id 321)". Empty for a
// section that is about something else.
std::string FormOf(const std::string& title) {
  static const std::regex by_id(R"(^(\d+ \w+): .*)");
  static const std::regex by_type(R"(^Types? [^`]*(`TPType.*\(Id \d+\)): .*)");
  std::smatch form;
  if (std::regex_match(title, form, by_id) || std::regex_match(title, form, by_type)) return form[1].str();
  return "";
}

// The forms that the library has, as the headings spell them, from the lines of "tesview ids":
//   20  QuoteDynaSingle                           table
//   25  ZhiBiaoShuChu                             --type ZhiBiao1 to ZhiBiao16
//  321  DaDanShuJuShuChu                          table, --type DaDan
std::set<std::string> FormsOfTheLibrary() {
  static const std::regex table(R"(^ *(\d+)  (\w+) +table\b.*)");
  static const std::regex layout(R"(^ *(\d+)  .* --type (\w+)(?: to (\w+))?  .*)");
  std::set<std::string> forms;
  for (const std::string& line : LinesOf(RunLine("tesview ids").out)) {
    std::smatch part;
    if (std::regex_match(line, part, table)) forms.insert(part[1].str() + " " + part[2].str());
    // A layout of wire tables, which Id 3 has too, is told with the layout of the message.
    if (!std::regex_match(line, part, layout) || part[1].str() == "3") continue;
    const std::string last = part[3].matched ? " to `TPType" + part[3].str() + "`" : "";
    forms.insert("`TPType" + part[2].str() + "`" + last + " (Id " + part[1].str() + ")");
  }
  return forms;
}

std::string SampleOf(const Section& section) {
  static const std::regex sample(R"(`samples/([^`]+)\.txtpb`)");
  std::smatch found;
  return std::regex_search(section.text, found, sample) ? found[1].str() : "";
}

// ---- the columns ------------------------------------------------------------------------------------------

// The column tables of a section as specs: the rows "| 0 | `Obj` | `s` | ..." below one header.
std::set<std::string> DocumentedSpecs(const std::string& text) {
  static const std::regex row(R"(^\| (\d+) \| `([^`]*)` \| `(\d*[a-zA-Z])` \|.*)");
  std::vector<std::string> specs;
  bool open = false;
  for (const std::string& line : LinesOf(text)) {
    std::smatch cells;
    if (std::regex_match(line, cells, row)) {
      if (!open) specs.emplace_back();
      open = true;
      specs.back() += cells[2].str() + ":" + cells[3].str() + ";";
    } else if (!StartsWith(line, "|---") && !StartsWith(line, "| | [")) {  // elements of the column above
      open = false;
    }
  }
  return {specs.begin(), specs.end()};
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
  if (StartsWith(title, "Types 101")) return TPTypeZhiBiao3;
  if (StartsWith(title, "Type ")) return static_cast<TPType>(std::stoi(title.substr(5)));
  return TPTypeById;
}

// ---- what the viewer wrote --------------------------------------------------------------------------------

// Lines of the page that are the output of a command. Two forms: in a block ```text whose first line is the
// command, "$ tesview ...", all lines below it; behind a line "<!-- tesview ... -->" all up to an empty line.
struct Stretch {
  std::string command;
  size_t begin = 0;  // counted in lines
  size_t end = 0;
  bool in_block = false;

  // Whether an output is found again as a whole where it is written to.
  bool Holds(const Lines& output) const {
    if (in_block) return std::count(output.begin(), output.end(), "```") == 0;
    return !output.empty() && std::count(output.begin(), output.end(), "") == 0;
  }
};

size_t Find(const Lines& page, size_t from, const std::string& line) {
  return static_cast<size_t>(std::find(page.begin() + static_cast<std::ptrdiff_t>(from), page.end(), line) -
                             page.begin());
}

std::vector<Stretch> Stretches(const Lines& page) {
  static const std::regex comment(R"(^<!-- (tesview .*\S) -->$)");
  std::vector<Stretch> stretches;
  for (size_t i = 0; i < page.size(); ++i) {
    std::smatch command;
    if (page[i] == "```text" && i + 1 < page.size() && StartsWith(page[i + 1], "$ tesview ")) {
      stretches.push_back({page[i + 1].substr(2), i + 2, Find(page, i + 2, "```"), true});
      EXPECT_LT(stretches.back().end, page.size()) << page[i + 1] << ": the block has no end";
    } else if (std::regex_match(page[i], command, comment)) {
      stretches.push_back({command[1].str(), i + 1, Find(page, i + 1, ""), false});
    } else {
      EXPECT_FALSE(StartsWith(page[i], "<!-- tesview"))
          << "line " << i + 1 << " is no comment of the form <!-- tesview ... -->";
      continue;
    }
    i = stretches.back().end - 1;
  }
  return stretches;
}

Lines Part(const Lines& page, size_t begin, size_t end) {
  return Lines(page.begin() + static_cast<std::ptrdiff_t>(begin),
               page.begin() + static_cast<std::ptrdiff_t>(end));
}

std::string Joined(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines)
    text += line + "\n";
  return text;
}

// What the command of a stretch prints.
Lines Made(const Stretch& stretch) {
  const program::Result result = RunLine(stretch.command);
  Lines output = LinesOf(result.out);
  EXPECT_EQ(result.code, 0) << stretch.command << " fails:\n" << result.out;
  EXPECT_TRUE(stretch.Holds(output)) << stretch.command
                                     << ": the output would end the part of the page that it is in";
  return output;
}

}  // namespace

// With TESVIEW_UPDATE=1 the page is written, unless a command fails; the difference is to be read. It comes
// first, so that the others see what it wrote.
TEST(RepliesPage, ShowsWhatTheViewerPrints) {
  const Lines page = LinesOf(ReadFile(REPLIES_PAGE));
  const bool update = std::getenv("TESVIEW_UPDATE") != nullptr;
  Lines written;
  size_t done = 0;
  for (const Stretch& stretch : Stretches(page)) {
    const Lines made = Made(stretch);
    const Lines before = Part(page, done, stretch.begin);
    written.insert(written.end(), before.begin(), before.end());
    written.insert(written.end(), made.begin(), made.end());
    done = stretch.end;
    if (update) continue;
    EXPECT_EQ(Joined(Part(page, stretch.begin, stretch.end)), Joined(made))
        << "docs/replies.md, line " << stretch.begin << ": " << stretch.command
        << " prints something else; TESVIEW_UPDATE=1 writes it into the page";
  }
  const Lines rest = Part(page, done, page.size());
  written.insert(written.end(), rest.begin(), rest.end());
  if (update && !HasFailure()) std::ofstream(REPLIES_PAGE, std::ios::binary) << Joined(written);
}

TEST(RepliesPage, HasASectionForEveryTableForm) {
  std::set<std::string> found;
  for (const Section& section : Sections()) {
    const std::string form = FormOf(section.title);
    if (form.empty()) continue;
    EXPECT_TRUE(found.insert(form).second) << form << " has two sections";
  }
  const std::set<std::string> wanted = FormsOfTheLibrary();
  EXPECT_GT(wanted.size(), 1U) << RunLine("tesview ids").out;
  for (const std::string& form : wanted)
    EXPECT_EQ(found.count(form), 1U) << "docs/replies.md has no section \"## " << form << ": ...\"";
  for (const std::string& form : found)
    EXPECT_EQ(wanted.count(form), 1U) << "the library has no table form \"" << form << "\"";
}

TEST(RepliesPage, ShowsASampleOfEveryTableForm) {
  for (const Section& section : Sections()) {
    if (FormOf(section.title).empty()) continue;
    const std::string sample = SampleOf(section);
    ASSERT_FALSE(sample.empty()) << section.title << ": the line \"Sample: `samples/...txtpb`\" is missing";
    const Lines lines = LinesOf(section.text);
    const std::vector<Stretch> stretches = Stretches(lines);
    EXPECT_TRUE(std::any_of(stretches.begin(), stretches.end(),
                            [&](const Stretch& stretch) {
                              return stretch.in_block &&
                                     stretch.command.find(sample + ".bin") != std::string::npos;
                            }))
        << section.title << ": no block shows what \"$ tesview ... " << sample << ".bin\" prints";
  }
}

TEST(RepliesPage, TellsTheColumnsThatTheSampleGives) {
  for (const Section& section : Sections()) {
    const std::string sample = SampleOf(section);
    // A wire table brings its own columns.
    if (sample.empty() || StartsWith(section.title, "3 Tbl")) continue;
    SCOPED_TRACE(section.title);
    const OwnedTable table(TesparserPB2TableType(ReadFile(std::string(SAMPLE_DIR "/") + sample + ".bin"),
                                                 TypeOf(section.title)));
    ASSERT_NE(table, nullptr);
    std::set<std::string> given;
    CollectSpecs(table.get(), &given);
    EXPECT_EQ(DocumentedSpecs(section.text), given);
  }
}
