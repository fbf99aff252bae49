// What is made of the replies that are read: some of them at a time, in their order.
#ifndef TESVIEW_COMMANDS_RENDERER_H_
#define TESVIEW_COMMANDS_RENDERER_H_

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tesview/commands/reply_files.h"
#include "tesview/show/show.h"

namespace tesview {

// Some replies are enough to be rendered together: small ones would otherwise cost more to hand over than to
// render.
struct Portion {
  size_t replies = 64;
  size_t bytes = size_t{256} * 1024;
};

class Renderer {
 public:
  virtual ~Renderer() = default;

  // Called once, before there are several threads.
  virtual void Prepare() const {}
  virtual Portion portion() const { return {}; }
  // Whether what has been read should be rendered although it is no portion, whenever the source might have
  // to be waited for. Otherwise that is done where the source has paused.
  virtual bool IsHasty() const { return true; }
  // The calling thread of the renderer sees each reply first, in the order of the input.
  virtual void Look(const ReadItem& /*read*/) {}

  // Gives what is shown of each, in the same order and once. Any number of threads may render at once. Throws
  // what `show` throws, and where nothing more can be shown.
  using Show = std::function<void(const ReadItem& read, Shown shown)>;
  virtual void Render(const std::vector<ReadItem>& read, const Show& show) const = 0;

  // What is written first where nothing was shown, and last where something was.
  virtual std::string Header() const { return std::string(); }
  virtual std::string Footer() const { return std::string(); }
};

// Each reply by itself, as lines.
class LineRenderer : public Renderer {
 public:
  explicit LineRenderer(const View& view) : view_(view) {}
  void Prepare() const override { PrepareToShow(view_); }
  void Render(const std::vector<ReadItem>& read, const Show& show) const override {
    for (const ReadItem& each : read)
      show(each, each.error.empty() ? tesview::Show(view_, each.item) : Shown());
  }

 private:
  const View& view_;
};

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_RENDERER_H_
