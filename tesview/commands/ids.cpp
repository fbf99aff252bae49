#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "replies/columns.h"
#include "replies/layouts.h"
#include "replies/suggest.h"
#include "replies/vocabulary.h"
#include "replies/words.h"
#include "tesview/commands/commands.h"
#include "tesview/terminal/complain.h"

namespace tesview {

using replies::DescribePayload;
using replies::DidYouMean;
using replies::HasTable;
using replies::LowerCase;
using replies::NameOfType;
using replies::Payload;
using replies::PayloadDescription;
using replies::TypedLayoutsOf;
using replies::Vocabulary;

namespace {

bool IsNumber(const std::string& word) {
  return !word.empty() &&
         std::all_of(word.begin(), word.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

// Empty where nothing is told.
PayloadDescription ToldOf(const Payload& payload) {
  const PayloadDescription* told = DescribePayload(payload.id);
  return told == nullptr ? PayloadDescription() : *told;
}

bool Matches(const Payload& payload, const std::vector<std::string>& words) {
  if (words.empty()) return true;
  return std::any_of(words.begin(), words.end(), [&](const std::string& word) {
    if (IsNumber(word)) return std::to_string(payload.id) == word;
    return LowerCase(ToldOf(payload).english.text).find(LowerCase(word)) != std::string::npos ||
           LowerCase(payload.name).find(LowerCase(word)) != std::string::npos ||
           LowerCase(payload.field).find(LowerCase(word)) != std::string::npos;
  });
}

std::string TableForms(int32_t id) {
  std::string forms = HasTable(id) ? "table" : "";
  std::string types;
  for (const TPType type : TypedLayoutsOf(id)) {
    types += types.empty() ? "--type " : ", ";
    types += type == TPTypeZhiBiao1 ? "ZhiBiao1 to ZhiBiao16" : NameOfType(type);
  }
  if (forms.empty() || types.empty()) return forms + types;
  return forms + ", " + types;
}

// The envelope's own fields are no payload.
bool HasPayload(const Payload& payload) {
  return !payload.field.empty() && payload.field != "Id" && payload.field != "Obj" &&
         payload.field != "ObjCount";
}

std::string IdLine(std::string_view id, std::string_view payload, std::string_view forms,
                   std::string_view family, std::string_view english) {
  std::string line = fmt::format("{:>5}  {:<40}  {:<29}  {:<17}  {}", id, payload, forms, family, english);
  line.erase(line.find_last_not_of(' ') + 1);
  return line + "\n";
}

}  // namespace

void Answer(const IdsRequest& request, Output* output, ExitCode* code) {
  bool any = false;
  for (const Payload& payload : Vocabulary()) {
    if (!Matches(payload, request.words)) continue;
    const std::string forms = TableForms(payload.id);
    if (request.only_tables && forms.empty()) continue;
    // What has no form of table can be had by the schema alone.
    const std::string shown = forms.empty() && HasPayload(payload) ? "--decode" : forms;
    const PayloadDescription told = ToldOf(payload);
    if (!any) output->Write(IdLine("Id", "payload", "columns", "family", "what it is"));
    any = true;
    output->Write(
        IdLine(fmt::format("{}", payload.id), payload.name, shown, told.family, told.english.Marked()));
  }
  if (any) return;
  std::vector<std::string> names;
  for (const Payload& payload : Vocabulary())
    names.push_back(payload.name);
  const std::string word = request.words.empty() ? "" : request.words[0];
  std::string near = DidYouMean(word, names);
  if (near.empty()) near = "; tesview ids lists them all";
  Complain(fmt::format("no Id{} {} \"{}\"{}", request.only_tables ? " with a table" : "",
                       IsNumber(word) ? "has the number" : "is called", word, near));
  *code = kSomeNotShown;
}

}  // namespace tesview
