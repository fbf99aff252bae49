#include <unistd.h>

#include <algorithm>
#include <memory>

#include "replies/packer.h"
#include "tesview/commands/arrow_renderer.h"
#include "tesview/commands/commands.h"
#include "tesview/commands/in_parallel.h"
#include "tesview/commands/printer.h"
#include "tesview/commands/renderer.h"
#include "tesview/commands/reply_files.h"
#include "tesview/commands/reply_filter.h"
#include "tesview/report/page.h"
#include "tesview/report/report.h"
#include "tesview/show/where.h"
#include "tesview/terminal/complain.h"
#include "tesview/terminal/interrupt.h"
#include "tesview/terminal/open_file.h"
#include "tesview/terminal/output_file.h"
#include "tesview/terminal/packing_of.h"
#include "tesview/terminal/progress.h"
#include "tesview/terminal/split_files.h"
#include "tesview/terminal/terminal.h"

namespace tesview {
namespace {

bool WantsProgress(const ShowRequest& request) {
  if (request.progress != When::kAuto) return request.progress == When::kAlways;
  return IsTerminal(STDERR_FILENO) && (!request.output.empty() || !IsTerminal(STDOUT_FILENO));
}

std::unique_ptr<Renderer> RendererFor(const ShowRequest& request) {
  if (request.view.to == To::kArrow) return std::make_unique<ArrowRenderer>(request.view, request.strict);
  return std::make_unique<LineRenderer>(request.view);
}

void ShowAll(const ShowRequest& request, ReplyFiles* files, Printer* printer) {
  const std::unique_ptr<Renderer> renderer = RendererFor(request);
  try {
    ShowInParallel(renderer.get(), request.jobs, files, printer);
  } catch (const StopAtFirst&) {
    // The user wants no more.
  } catch (const EnoughPrinted&) {
    // The same.
  } catch (const ReportFull&) {
    // The report says what it left out.
  }
  printer->End(renderer->Header(), renderer->Footer());
}

// What --where leaves is known when a reply is decoded: those that are skipped, and the limit, are counted
// behind it then.
FilterRequest FilterOf(const ShowRequest& request) {
  FilterRequest filter = request.filter;
  if (request.view.where == nullptr) return filter;
  filter.skip = 0;
  if (filter.limit && *filter.limit != 0) filter.limit = std::nullopt;
  return filter;
}

void ComplainOfWhere(const View& view, ExitCode* code) {
  if (view.where == nullptr) return;
  for (const std::string& complaint : view.where->Complaints()) {
    Complain(complaint);
    *code = std::max(*code, kSomeNotShown);
  }
}

void FinishReport(Report* report, Output* output, ExitCode* code) {
  report->End();
  output->Flush();
  const std::string left_out = report->LeftOut();
  if (left_out.empty()) return;
  Complain(left_out);
  *code = std::max(*code, kSomeNotShown);
}

// Into one of the two that `split` and `output` are.
void ShowTo(const ShowRequest& request, Output* output, SplitFiles* split, ExitCode* code) {
  ReplyFiles files(request.paths, request.from);
  if (!request.resync) files.StopAtDamage();
  ReplyFilter filter(FilterOf(request));
  filter.ApplyTo(&files);
  if (request.redact) files.RedactSecrets();
  Progress progress(WantsProgress(request), request.progress == When::kAlways, files.TotalBytes());
  files.OnProgress([&](uint64_t bytes, uint64_t replies) { progress.Add(bytes, replies); });
  Printer printer(request, output, &progress, code);
  if (request.view.where != nullptr) printer.PrintOnly({request.filter.skip, request.filter.limit});
  if (split != nullptr) printer.PrintInto(split);
  if (request.view.to != To::kHtml) {
    ShowAll(request, &files, &printer);
    return ComplainOfWhere(request.view, code);
  }
  Report report(output);
  printer.PrintInto(&report);
  ShowAll(request, &files, &printer);
  FinishReport(&report, output, code);
  ComplainOfWhere(request.view, code);
}

void ShowPacked(const ShowRequest& request, Packing packing, Output* file, ExitCode* code) {
  const auto packed = replies::MakePacker(packing, [&](std::string_view bytes) { file->WriteBytes(bytes); });
  Output output([&](std::string_view bytes) { packed->Add(bytes); });
  ShowTo(request, &output, nullptr, code);
  output.Flush();
  packed->End();
}

// The file is there when it is whole. It is whole also where some replies could not be shown, and where some
// files could not be read: both are said.
void ShowToFile(const ShowRequest& request, ExitCode* code) {
  OutputFile file(request.output, request.replace);
  Output output(file.fd());
  const Packing packing = PackingOf(request.output);
  if (packing == Packing::kNone) {
    ShowTo(request, &output, nullptr, code);
  } else {
    ShowPacked(request, packing, &output, code);
  }
  output.Flush();
  if (WasInterrupted()) throw Interrupted();
  file.Commit();
}

void ShowToFiles(const ShowRequest& request, ExitCode* code) {
  SplitFiles files(request.output, request.replace, request.bom ? kByteOrderMark : "");
  // Nothing but the end of a summary goes elsewhere, and a summary is not split.
  Output none([](std::string_view) {});
  ShowTo(request, &none, &files, code);
  files.Commit();
}

}  // namespace

void Answer(const ShowRequest& request, Output* output, ExitCode* code) {
  if (request.view.to == To::kHtml && !HasReportPage()) {
    throw UsageError(
        "this tesview was built without the page of --to html: scripts/setup page makes it, and "
        "cmake -D TESPARSER_PAGE=ON takes it in");
  }
  CatchInterrupts();
  if (request.output.empty()) return ShowTo(request, output, nullptr, code);
  try {
    request.view.split.Any() ? ShowToFiles(request, code) : ShowToFile(request, code);
  } catch (const FileIsThere& there) {
    throw UsageError(there.what());
  }
  std::string error;
  if (request.open && !OpenFile(request.output, &error)) {
    Complain(error);
    *code = std::max(*code, kFileTrouble);
  }
}

void Answer(const PrintRequest& request, Output* output, ExitCode* /*code*/) {
  output->Write(request.text);
}

}  // namespace tesview
