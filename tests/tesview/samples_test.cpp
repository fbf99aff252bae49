// Every sample in every form of output.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/program.h"
#include "tests/support/viewer.h"
#include "tests/tesview/inputs.h"

namespace {

namespace fs = std::filesystem;
using program::How;
using program::Result;
using viewer::LinesOf;
using viewer::Sample;
using viewer::Slurp;
using viewer::Strings;
using viewer::View;

// "typed-103-ZhiBiao3" is seen as type 103.
Strings TypeOf(const std::string& sample) {
  if (sample.substr(0, 6) != "typed-") return {};
  return {"--type", sample.substr(6, sample.find('-', 6) - 6)};
}

// Long outputs are held by their first lines and their size; SampleForms.SayTheSame compares the rest.
std::string Shortened(const std::string& text) {
  constexpr size_t kLines = 100;
  constexpr size_t kColumns = 1300;
  const Strings lines = LinesOf(text);
  std::string result;
  for (size_t i = 0; i < lines.size() && i < kLines; ++i) {
    std::string line = lines[i];
    if (line.size() > kColumns) {
      size_t end = kColumns;
      while ((static_cast<unsigned char>(line[end]) & 0xC0) == 0x80)
        --end;
      line = line.substr(0, end) + " [... " + std::to_string(line.size()) + " bytes]";
    }
    result += line + "\n";
  }
  if (lines.size() > kLines)
    result += "[... " + std::to_string(lines.size()) + " lines, " + std::to_string(text.size()) + " bytes]\n";
  return result;
}

// The last two fields of a summary are times.
std::string WithoutTimes(const std::string& summary) {
  std::string result;
  for (const std::string& line : LinesOf(summary))
    result += line.substr(0, line.size() - std::min<size_t>(line.size(), 26)) + "\n";
  return result;
}

std::string EveryForm(const std::string& sample) {
  std::string all;
  for (const std::string to : {"table", "ndjson", "csv", "summary", "json", "pretty", "text"}) {
    Strings arguments{"--to", to};
    if (to == "table" || to == "ndjson" || to == "csv" || to == "summary") {
      for (const std::string& each : TypeOf(sample))
        arguments.push_back(each);
    }
    std::string shown;
    for (const std::string& each : arguments)
      shown += " " + each;
    arguments.push_back(Sample(sample));
    const Result result = View(arguments);
    all += "$ tesview" + shown + " " + sample + ".bin\n";
    all += Shortened(to == "summary" ? WithoutTimes(result.out) : result.out);
    std::string errors = result.err;
    for (size_t at = errors.find(SAMPLE_DIR); at != std::string::npos; at = errors.find(SAMPLE_DIR))
      errors.erase(at, sizeof SAMPLE_DIR);
    if (!errors.empty()) all += "(standard error) " + errors;
    if (result.code != 0) all += "(exit code) " + std::to_string(result.code) + "\n";
    all += "\n";
  }
  return all;
}

// What each sample looks like in each form is held in tests/tesview/expected, to be read by people;
// TESVIEW_UPDATE=1 writes the files again, and the difference is to be read as well.
class SampleForms : public testing::TestWithParam<std::string> {};

TEST_P(SampleForms, AreAsHeld) {
  const std::string path = std::string(SOURCE_DIR) + "/tests/tesview/expected/" + GetParam() + ".txt";
  const std::string made = EveryForm(GetParam());
  if (std::getenv("TESVIEW_UPDATE") != nullptr) std::ofstream(path) << made;
  EXPECT_EQ(Slurp(path), made);
}

// Outside of strings.
std::string WithoutBlanks(const std::string& json) {
  std::string result;
  bool in_string = false;
  for (size_t i = 0; i < json.size(); ++i) {
    if (in_string && json[i] == '\\') result += json[i++];
    if (json[i] == '"') in_string = !in_string;
    if (in_string || (json[i] != ' ' && json[i] != '\n')) result += json[i];
  }
  return result;
}

// Pretty JSON is the JSON, the text form is the reply, and csv has the lines of ndjson.
TEST_P(SampleForms, SayTheSame) {
  const std::string path = Sample(GetParam());
  const Result json = View({"--json", path});
  if (json.code != 0) {
    EXPECT_EQ(GetParam(), "damaged");
    return;
  }
  EXPECT_EQ(WithoutBlanks(View({"--pretty", path}).out), WithoutBlanks(json.out));
  How how;
  how.input = View({"--to", "text", path}).out;
  EXPECT_EQ(View({"pack", "-"}, how).out, Slurp(path));
  Strings arguments = TypeOf(GetParam());
  arguments.push_back(path);
  arguments.insert(arguments.begin(), {"--to", "csv"});
  const Result csv = View(arguments);
  arguments[1] = "ndjson";
  const Strings objects = LinesOf(View(arguments).out);
  if (csv.code == 0) {
    EXPECT_EQ(LinesOf(csv.out).size(), objects.size() + 1);
  } else {
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(WithoutBlanks(objects[0]),
              "{\"_id\":22,\"_row\":null,\"_json\":" + WithoutBlanks(json.out) + "}");
  }
}

Strings AllSamples() {
  Strings names;
  for (const auto& entry : fs::directory_iterator(SAMPLE_DIR)) {
    if (entry.path().extension() == ".bin") names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

INSTANTIATE_TEST_SUITE_P(Samples, SampleForms, testing::ValuesIn(AllSamples()), [](const auto& param) {
  std::string name = param.param;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
});

}  // namespace
