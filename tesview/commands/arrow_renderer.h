// Replies as Arrow's stream format. The first reply that has columns decides on them; replies of another Id
// or with other columns cannot be shown.
#ifndef TESVIEW_COMMANDS_ARROW_RENDERER_H_
#define TESVIEW_COMMANDS_ARROW_RENDERER_H_

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "replies/table_batch.h"
#include "tesview/commands/renderer.h"
#include "tesview/show/view.h"

namespace tesview {

class ArrowRenderer : public Renderer {
 public:
  // With `strict` rows are given before each reply that cannot be shown. The view has to live longer.
  ArrowRenderer(const View& view, bool strict);
  ~ArrowRenderer() override;

  // Batches of a few rows each would take their readers longer than the rows.
  Portion portion() const override { return {4096, size_t{1024} * 1024}; }
  bool IsHasty() const override { return false; }
  void Look(const ReadItem& read) override;
  void Render(const std::vector<ReadItem>& read, const Show& show) const override;
  std::string Header() const override;
  std::string Footer() const override;

 private:
  struct Plan;

  replies::Taken Add(const Plan* plan, const Item& item, uint64_t index, replies::TableBatch* batch,
                     std::string* error) const;

  const View& view_;
  const bool strict_;
  std::unique_ptr<const Plan> made_;
  std::atomic<const Plan*> plan_{nullptr};  // the same, for the threads that render
};

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_ARROW_RENDERER_H_
