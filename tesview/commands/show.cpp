#include <unistd.h>

#include <memory>

#include "tesview/commands/arrow_renderer.h"
#include "tesview/commands/commands.h"
#include "tesview/commands/in_parallel.h"
#include "tesview/commands/printer.h"
#include "tesview/commands/renderer.h"
#include "tesview/commands/reply_files.h"
#include "tesview/terminal/interrupt.h"
#include "tesview/terminal/progress.h"
#include "tesview/terminal/terminal.h"

namespace tesview {
namespace {

bool WantsProgress(When when) {
  if (when != When::kAuto) return when == When::kAlways;
  return IsTerminal(STDERR_FILENO) && !IsTerminal(STDOUT_FILENO);
}

std::unique_ptr<Renderer> RendererFor(const ShowRequest& request) {
  if (request.view.to == To::kArrow) return std::make_unique<ArrowRenderer>(request.view, request.strict);
  return std::make_unique<LineRenderer>(request.view);
}

}  // namespace

void Answer(const ShowRequest& request, Output* output, ExitCode* code) {
  CatchInterrupts();
  ReplyFiles files(request.paths, request.from);
  Progress progress(WantsProgress(request.progress), request.progress == When::kAlways, files.TotalBytes());
  files.OnProgress([&](uint64_t bytes, uint64_t replies) { progress.Add(bytes, replies); });
  Printer printer(request, output, &progress, code);
  const std::unique_ptr<Renderer> renderer = RendererFor(request);
  try {
    ShowInParallel(renderer.get(), request.jobs, &files, &printer);
  } catch (const StopAtFirst&) {
    // The user wants no more.
  }
  printer.End(renderer->Header(), renderer->Footer());
}

void Answer(const PrintRequest& request, Output* output, ExitCode* /*code*/) {
  output->Write(request.text);
}

}  // namespace tesview
