#include "replies/diagnosis.h"

#include <fmt/format.h>
#include <google/protobuf/descriptor.h>

#include <new>

#include "replies/layouts.h"
#include "replies/reply_check.h"
#include "replies/schema.h"
#include "replies/vocabulary.h"
#include "tsl_base/table.hpp"

namespace replies {

namespace {

namespace pb = google::protobuf;

Diagnosis OutOfMemory() {
  // So short that the text needs no memory of its own.
  return {Reason::kOutOfMemory, 0, "", "out of memory"};
}

template <typename Find>
Diagnosis Found(Find find) noexcept {
  try {
    return find();
  } catch (const std::bad_alloc&) {
    return OutOfMemory();
  }
}

std::string BytesRead(std::string_view bytes) {
  return fmt::format(" ({} byte{} read)", bytes.size(), bytes.size() == 1 ? "" : "s");
}

const pb::Descriptor* Envelope() {
  return Schema::Get().Type("MSG");
}

Diagnosis ReplyProblem(std::string_view bytes) {
  if (bytes.empty()) return {Reason::kNotAReply, 0, "", "empty, 0 bytes"};
  if (const auto found = FindBreak(bytes, Envelope()))
    return {Reason::kNotAReply, found->offset, "", "not a reply: " + found->what + BytesRead(bytes)};
  const MissingFields missing = FindMissing(bytes, Envelope());
  if (missing.count == 0) return {};
  std::string message = fmt::format("not a reply: required field \"{}\" is missing", missing.first.place);
  if (missing.count > 1) message += fmt::format(", and {} more", missing.count - 1);
  return {Reason::kFieldMissing, 0, missing.first.path, message + BytesRead(bytes)};
}

Diagnosis JsonProblem(std::string_view bytes) {
  Diagnosis problem = ReplyProblem(bytes);
  if (problem.reason != Reason::kNone) return problem;
  const auto found = FindInexpressible(bytes, Envelope());
  if (!found) return {};
  return {Reason::kNotExpressible, 0, found->field.path,
          fmt::format("no JSON can hold it: {} in field \"{}\"",
                      found->is_text ? "text that is not valid UTF-8" : "a number that is not finite",
                      found->field.place)};
}

bool GoesById(std::optional<TPType> type) {
  return !type || *type == TPTypeById;
}

std::string NothingIn(const EnvelopeHead& head) {
  const Payload* payload = FindPayload(head.id);
  const std::string field = payload == nullptr ? std::string() : payload->field;
  if (!head.has_payload) return fmt::format("nothing to show: field \"{}\" is empty", field);
  return fmt::format("nothing to show: no table can be made of field \"{}\"", field);
}

// "; the layout Token gives one".
std::string OtherLayout(int32_t id) {
  const auto layouts = TypedLayoutsOf(id);
  return layouts.empty() ? "" : fmt::format("; the layout {} gives one", NameOfType(layouts[0]));
}

bool GivesTable(std::string_view bytes, std::optional<TPType> type) {
  return static_cast<bool>(
      tsl_base::Table(TesparserPB2TableType(std::string(bytes), type.value_or(TPTypeById))));
}

Diagnosis TableProblem(std::string_view bytes, std::optional<TPType> type) {
  Diagnosis problem = ReplyProblem(bytes);
  if (problem.reason != Reason::kNone) return problem;
  const EnvelopeHead head = ReadHead(bytes);
  const std::string id = IdWithName(head.id);
  if (!HasForm(head.id, type)) {
    const std::string none = GoesById(type)
                                 ? fmt::format("Id {} has no table form", id)
                                 : fmt::format("Id {} has no table in the layout {}", id, NameOfType(*type));
    return {Reason::kNoTableForm, 0, "", none + OtherLayout(head.id)};
  }
  if (GivesTable(bytes, type)) return {};
  if (GoesById(type)) return {Reason::kNothingInIt, 0, "", fmt::format("Id {}: {}", id, NothingIn(head))};
  return {Reason::kNothingInIt, 0, "",
          fmt::format("Id {} has nothing to show in the layout {}", id, NameOfType(*type))};
}

// In a few words.
std::string WhyNoTableOf(const EnvelopeHead& head) {
  return HasTable(head.id) ? NothingIn(head) : "no table form";
}

}  // namespace

Diagnosis DiagnoseReply(std::string_view bytes) noexcept {
  return Found([bytes] { return ReplyProblem(bytes); });
}

Diagnosis DiagnoseJson(std::string_view bytes) noexcept {
  return Found([bytes] { return JsonProblem(bytes); });
}

Diagnosis DiagnoseTable(std::string_view bytes, std::optional<TPType> type) noexcept {
  return Found([bytes, type] { return TableProblem(bytes, type); });
}

std::string WhyNoReply(const std::string& bytes) {
  const Diagnosis problem = ReplyProblem(bytes);
  return problem.reason == Reason::kNone ? "not a reply" : problem.message;
}

std::string WhyNoTableBriefly(const std::string& bytes) {
  const Diagnosis problem = ReplyProblem(bytes);
  return problem.reason == Reason::kNone ? WhyNoTableOf(ReadHead(bytes)) : problem.message;
}

std::string WhyNoTable(const std::string& bytes, std::optional<TPType> type) {
  const Diagnosis problem = ReplyProblem(bytes);
  if (problem.reason != Reason::kNone) return problem.message;
  const EnvelopeHead head = ReadHead(bytes);
  const auto layouts = TypedLayoutsOf(head.id);
  if (!GoesById(type)) {
    std::string why = fmt::format("Id {} gives no table of type {}", IdWithName(head.id), NameOfType(*type));
    if (HasForm(head.id, type)) return why + "; it has nothing to show";
    return layouts.empty() ? why : why + "; try --type " + NameOfType(layouts[0]);
  }
  const std::string why = fmt::format("Id {}: {}; try --to json", IdWithName(head.id), WhyNoTableOf(head));
  return layouts.empty() || HasTable(head.id) ? why : why + " or --type " + NameOfType(layouts[0]);
}

}  // namespace replies
