// What --where, --head, --tail, --columns and --path leave of a table and of those inside it.
#ifndef TESVIEW_SHOW_CHOOSE_H_
#define TESVIEW_SHOW_CHOOSE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tesview/show/columns.h"
#include "tesview/show/kept_rows.h"
#include "tesview/show/view.h"
#include "tsl_base/table.hpp"

namespace tesview {

// Which columns of a table are shown.
enum class Part {
  kNone,
  kAll,
  kChosen,  // those of --columns, and the columns of tables that lead to one of them
};

// The choice in the tables of one reply, which lives at least as long. One thread at a time.
class Choice {
 public:
  // `kept` are the rows that --where leaves; it tells no table where that is not asked for.
  Choice(const View& view, const TableKind& kind, const KeptRows* kept);

  const TableKind& kind() const { return layouts_.kind(); }

  // Walks over the table and all inside it, for what was chosen of them; throws TooMuch where that is too
  // many or would give too much output. Tables that were not walked over have no part that is kChosen.
  void Take(tsl_base::TableView table);

  Part whole() const { return view_.columns.empty() && lead_.empty() ? Part::kAll : Part::kChosen; }
  // The path of the table that TableAt() gave, "0/Data"; empty for the outermost one.
  const std::string& base() const { return base_; }
  RowList Rows(tsl_base::TableView table) const;
  Layout& LayoutOf(tsl_base::TableView table) { return layouts_.Of(table); }

  // In the order asked for, columns that lead to chosen ones last.
  std::vector<const Column*> Columns(tsl_base::TableView table, Part part);

  // What is shown of a table in this column of a table of which `part` is shown. A column of tables that was
  // asked for shows the whole of those in which no column was asked for.
  Part Inside(Part part, tsl_base::TableView child) const;

  // The first column that was asked for and is nowhere in what was walked over; empty if all are there.
  std::string MissingColumn() const;
  // Why the names that end the path lead to no column of tables in what was walked over; empty if they do.
  std::string MissingPath(tsl_base::TableView table);

  // All names of columns in the table and inside it.
  std::vector<std::string> AllColumnNames(tsl_base::TableView table);

  // The table at the path that was asked for; no table and why in `error` if there is none, or nothing in
  // `error` where the path leads through a row that is not kept.
  tsl_base::TableView TableAt(tsl_base::TableView root, std::string* error);

 private:
  // A column that is asked for, on the way inwards: what is left of its name.
  struct Asked {
    size_t order = 0;  // among --columns
    std::string_view name;
    bool only_here = false;  // the names before it led to these tables
  };
  struct Place;
  // Of one layout at one place.
  struct Chosen {
    std::vector<const Column*> columns;          // in the order asked for
    std::vector<std::unique_ptr<Place>> inside;  // as the columns of tables; null where nothing leads inside
  };
  // Where tables are that have the same ones around them.
  struct Place {
    size_t lead = 0;  // of lead_, the names that led here
    std::vector<Asked> asked;
    std::unordered_map<const Layout*, Chosen> chosen;
  };

  Chosen& ChosenOf(Layout* layout, Place* place);
  void ChooseLead(const Layout& layout, const std::vector<Column>& columns, const Place& place,
                  Chosen* chosen);
  void ChooseColumns(const Layout& layout, const std::vector<Column>& columns, const Place& place,
                     Chosen* chosen);
  bool LeadsToChosen(tsl_base::TableView table, int col) const;
  bool FindChosen(tsl_base::TableView table, Place* place);
  void CountCells(tsl_base::TableView table, uint64_t outer);
  void CollectNames(tsl_base::TableView table, std::unordered_set<const Layout*>* seen,
                    std::unordered_set<std::string_view>* known, std::vector<std::string>* names);
  tsl_base::TableView Descend(tsl_base::TableView table, std::string_view number, std::string_view name,
                              std::string* error);
  bool TakeLead(std::string_view names, std::string* error);

  const View& view_;
  const KeptRows* kept_;
  Layouts layouts_;
  std::string base_;
  std::vector<std::string_view> lead_;  // names at the end of the path: the tables of all rows there
  bool found_lead_ = false;
  Place root_;
  std::vector<bool> found_;                                // of --columns
  std::unordered_map<const void*, const Chosen*> chosen_;  // of the tables that were walked over
  std::unordered_set<const void*> tables_with_chosen_;     // that have a chosen column or lead to one
  std::unordered_set<const void*> in_chosen_;              // that are in a chosen column
  uint64_t cells_ = 0;
  uint64_t visited_ = 0;
};

}  // namespace tesview

#endif  // TESVIEW_SHOW_CHOOSE_H_
