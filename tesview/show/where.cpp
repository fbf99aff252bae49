#include "tesview/show/where.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

#include "replies/column_names.h"
#include "replies/columns.h"
#include "replies/encodings.h"
#include "replies/suggest.h"
#include "replies/words.h"
#include "tesview/show/cells.h"
#include "tesview/show/limits.h"
#include "tesview/show/where_value.h"

namespace tesview {

using replies::Trim;
using tsl_base::TableView;

namespace {

constexpr size_t kMostConditions = 32;

// ---- the text ---------------------------------------------------------------------------------------------

bool IsQuote(char c) {
  return c == '\'' || c == '"';
}

struct ComparisonWord {
  std::string_view word;
  Comparison comparison;
};

// The longer ones first.
constexpr ComparisonWord kComparisons[] = {{"!=", Comparison::kUnequal}, {"<=", Comparison::kAtMost},
                                           {">=", Comparison::kAtLeast}, {"=", Comparison::kEqual},
                                           {"<", Comparison::kLess},     {">", Comparison::kMore},
                                           {"~", Comparison::kHas}};

// Reads comparisons from the front of a text.
class WhereReader {
 public:
  explicit WhereReader(std::string_view text) : rest_(text) {}

  bool Read(WhereCondition* condition, std::string* error) {
    return ReadColumn(condition, error) && ReadComparison(condition, error) && ReadValue(condition, error);
  }

  // Whether another comparison follows.
  bool ReadAnd(bool* follows, std::string* error) {
    rest_ = Trim(rest_);
    *follows = !rest_.empty();
    if (!*follows) return true;
    const bool is_and =
        replies::LowerCase(rest_.substr(0, 3)) == "and" && (rest_.size() == 3 || rest_[3] == ' ');
    if (!is_and) {
      *error = fmt::format("\"and\" is to stand where \"{}\" does", rest_);
      return false;
    }
    rest_.remove_prefix(3);
    return true;
  }

 private:
  // In quotes; a quote inside is doubled.
  bool ReadQuoted(std::string* text, std::string* error) {
    const char quote = rest_.front();
    for (size_t i = 1; i < rest_.size(); ++i) {
      if (rest_[i] != quote) {
        *text += rest_[i];
      } else if (i + 1 < rest_.size() && rest_[i + 1] == quote) {
        *text += rest_[i++];
      } else {
        rest_.remove_prefix(i + 1);
        return true;
      }
    }
    *error = fmt::format("a quote is missing behind {}", rest_);
    return false;
  }

  bool ReadColumn(WhereCondition* condition, std::string* error) {
    rest_ = Trim(rest_);
    if (!rest_.empty() && IsQuote(rest_.front())) return ReadQuoted(&condition->column, error);
    const size_t end = std::min(rest_.find_first_of("=!<>~"), rest_.size());
    condition->column = std::string(Trim(rest_.substr(0, end)));
    rest_.remove_prefix(end);
    if (condition->column.empty()) *error = "it takes a column, a comparison and a value, as in Obj=SH600000";
    return !condition->column.empty();
  }

  bool ReadComparison(WhereCondition* condition, std::string* error) {
    rest_ = Trim(rest_);
    for (const ComparisonWord& each : kComparisons) {
      if (rest_.substr(0, each.word.size()) != each.word) continue;
      rest_.remove_prefix(each.word.size());
      condition->comparison = each.comparison;
      if (rest_.empty() || rest_.front() != '=') return true;
      *error = fmt::format("\"{}=\" is no comparison", each.word);
      return false;
    }
    *error =
        fmt::format("no comparison behind \"{}\"; there are =, !=, <, <=, >, >= and ~", condition->column);
    return false;
  }

  bool ReadValue(WhereCondition* condition, std::string* error) {
    rest_ = Trim(rest_);
    if (!rest_.empty() && IsQuote(rest_.front())) return ReadQuoted(&condition->value, error);
    const size_t end = EndOfBareValue();
    condition->value = std::string(Trim(rest_.substr(0, end)));
    rest_.remove_prefix(end);
    if (condition->value.find_first_of("=!<>~") != std::string::npos) {
      *error = fmt::format("the value \"{}\" has to be in quotes", condition->value);
      return false;
    }
    if (condition->value.empty())
      *error = fmt::format("no value behind \"{}\"; '' is an empty text", condition->column);
    return !condition->value.empty();
  }

  // At the next "and" that stands alone, or at the end.
  size_t EndOfBareValue() const {
    const std::string small = replies::LowerCase(rest_) + " ";
    return std::min(small.find(" and "), rest_.size());
  }

  std::string_view rest_;
};

// ---- which columns are compared ---------------------------------------------------------------------------

using Mask = uint32_t;

Mask BitOf(size_t condition) {
  return Mask{1} << condition;
}

// A condition on its way inwards: what is left of the name of its column.
struct Pending {
  size_t condition;
  std::string_view name;
};

struct Place;

// What is compared in tables of one layout at one place.
struct WherePlan {
  std::vector<std::pair<const Column*, size_t>> here;
  Mask here_mask = 0;
  std::vector<std::pair<int, std::unique_ptr<Place>>> inside;  // by the column of tables
};

// Where tables are that have the same ones around them.
struct Place {
  std::vector<Pending> pending;
  std::unordered_map<const Layout*, WherePlan> plans;
};

class WhereWalk {
 public:
  WhereWalk(const std::vector<std::unique_ptr<WhereCondition>>& conditions, const TableKind& kind,
            KeptRows* kept)
      : conditions_(conditions), layouts_(kind), kept_(kept) {}

  bool Choose(TableView table) {
    Place place;
    Mask all = 0;
    for (size_t i = 0; i < conditions_.size(); ++i) {
      place.pending.push_back({i, conditions_[i]->column});
      all |= BitOf(i);
    }
    const Mask found = Find(table, &place);
    for (size_t i = 0; i < conditions_.size(); ++i) {
      if ((found & BitOf(i)) != 0) conditions_[i]->is_comparable.store(true, std::memory_order_relaxed);
    }
    return found == all && Keep(table, place, all);
  }

 private:
  const WherePlan& PlanOf(TableView table, Place* place) {
    Layout& layout = layouts_.Of(table);
    const auto [at, is_new] = place->plans.try_emplace(&layout);
    WherePlan& plan = at->second;
    if (!is_new) return plan;
    std::vector<Pending> further;
    for (const Pending& pending : place->pending) {
      if (!IsHere(pending, layout.columns(), &plan)) further.push_back(pending);
    }
    if (further.empty()) return plan;
    for (const int col : layout.tables()) {
      auto inside = std::make_unique<Place>();
      const Column& column = layout.columns()[static_cast<size_t>(col)];
      for (const Pending& pending : further) {
        const std::string_view rest = replies::NameInside(pending.name, column.name);
        inside->pending.push_back({pending.condition, rest.empty() ? pending.name : rest});
      }
      plan.inside.emplace_back(col, std::move(inside));
    }
    return plan;
  }

  bool IsHere(const Pending& pending, const std::vector<Column>& columns, WherePlan* plan) {
    const Column* column = FindColumn(columns, pending.name);
    if (column == nullptr) return false;
    const WhereCondition& condition = *conditions_[pending.condition];
    condition.has_column.store(true, std::memory_order_relaxed);
    if (!IsComparable(condition, *column)) return false;
    plan->here.emplace_back(column, pending.condition);
    plan->here_mask |= BitOf(pending.condition);
    return true;
  }

  // The conditions whose columns are in the table or inside it.
  Mask Find(TableView table, Place* place) {
    const WherePlan& plan = PlanOf(table, place);
    Mask found = plan.here_mask;
    visited_ += static_cast<uint64_t>(table.rows()) * plan.inside.size();
    CheckCount(visited_);
    for (const auto& [col, inside] : plan.inside) {
      for (int row = 0; row < table.rows(); ++row) {
        const TableView child = ChildOf(table, row, col);
        if (!child) continue;
        const Mask in_child = Find(child, inside.get());
        found |= in_child;
        if (in_child != 0) found_in_[child.get()] = in_child;
      }
    }
    return found;
  }

  Mask FoundIn(TableView child) const {
    const auto at = child ? found_in_.find(child.get()) : found_in_.end();
    return at == found_in_.end() ? 0 : at->second;
  }

  // Keeps the rows for which all conditions of `wanted` hold, which are those that Find() found.
  bool Keep(TableView table, const Place& place, Mask wanted) {
    const WherePlan& plan = place.plans.find(&layouts_.Of(table))->second;
    const int rows = table.rows();
    visited_ += static_cast<uint64_t>(rows) * (1 + plan.here.size());
    CheckCount(visited_);
    std::vector<int> kept;
    for (int row = 0; row < rows; ++row) {
      const bool holds = std::all_of(plan.here.begin(), plan.here.end(), [&](const auto& each) {
        return Holds(*conditions_[each.second], table, row, *each.first);
      });
      if (holds && KeepInside(table, plan, row, wanted & ~plan.here_mask)) kept.push_back(row);
    }
    const bool any = !kept.empty();
    if (kept.size() != static_cast<size_t>(rows)) kept_->Keep(table, std::move(kept));
    return any;
  }

  bool KeepInside(TableView table, const WherePlan& plan, int row, Mask wanted) {
    Mask kept = 0;
    for (const auto& [col, inside] : plan.inside) {
      const TableView child = ChildOf(table, row, col);
      const Mask of_child = FoundIn(child) & wanted;
      if (of_child != 0 && Keep(child, *inside, of_child)) kept |= of_child;
    }
    return kept == wanted;
  }

  const std::vector<std::unique_ptr<WhereCondition>>& conditions_;
  Layouts layouts_;
  KeptRows* kept_;
  std::unordered_map<const void*, Mask> found_in_;  // the conditions of tables inside, where there are any
  uint64_t visited_ = 0;
};

// The names that columns are told by, for whoever mistyped one.
std::vector<std::string> AllToldNames() {
  std::vector<std::string> names;
  for (const replies::TableDescription& table : replies::DescribedTables()) {
    for (const replies::ColumnDescription& column : table.columns)
      names.emplace_back(column.name);
  }
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

}  // namespace

bool Where::Add(std::string_view text, std::string* error) {
  WhereReader reader(text);
  for (bool follows = true; follows;) {
    auto condition = std::make_unique<WhereCondition>();
    if (!reader.Read(condition.get(), error) || !reader.ReadAnd(&follows, error)) return false;
    condition->number = ParseWhereNumber(condition->value);
    condition->time = replies::ParseTime(condition->value);
    conditions_.push_back(std::move(condition));
  }
  if (conditions_.size() > kMostConditions) *error = fmt::format("more than {} comparisons", kMostConditions);
  return conditions_.size() <= kMostConditions;
}

bool Where::Choose(TableView table, const TableKind& kind, KeptRows* kept) const {
  asked_.store(true, std::memory_order_relaxed);
  return WhereWalk(conditions_, kind, kept).Choose(table);
}

std::vector<std::string> Where::Complaints() const {
  std::vector<std::string> complaints;
  for (const auto& condition : conditions_) {
    if (!asked_ || condition->is_comparable) continue;
    const std::string& name = condition->column;
    if (condition->has_column) {
      complaints.push_back(
          fmt::format("--where: column \"{}\" cannot be compared with \"{}\"", name, condition->value));
    } else {
      complaints.push_back(
          fmt::format("--where: no reply that was read has a column \"{}\"{}", name,
                      replies::DidYouMean(name.substr(name.rfind('.') + 1), AllToldNames())));
    }
  }
  return complaints;
}

}  // namespace tesview
