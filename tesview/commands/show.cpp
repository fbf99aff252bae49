#include <fmt/format.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#include "replies/reply_reader.h"
#include "replies/source.h"
#include "replies/text.h"
#include "replies/text_form.h"
#include "tesview/commands/requests.h"
#include "tesview/terminal/output.h"
#include "tesview/terminal/progress.h"
#include "tesview/terminal/terminal.h"

namespace tesview {

using replies::FileSource;
using replies::FindFiles;
using replies::InputError;
using replies::InputFiles;
using replies::Printable;
using replies::ReplyReader;
using replies::TextToBytes;

namespace {

// A batch is handed to a worker when it has this many replies or bytes: small replies would otherwise cost
// more to hand over than to show.
constexpr size_t kBatchReplies = 64;
constexpr size_t kBatchBytes = size_t{256} * 1024;
// What may wait in memory at once; a single reply may be larger than that.
constexpr size_t kBatchesForEachWorker = 4;
constexpr size_t kBytesWaiting = size_t{64} * 1024 * 1024;

// A reply, or what stands in its place.
struct Task {
  Item item;
  std::string error;                // of the reading; there is no reply then
  ExitCode error_code = kAllShown;  // which stays so where something is only worth saying
};

// ---- reading ----

// All replies of all files, one after the other.
class Reader {
 public:
  Reader(const Job& job, InputFiles files, Progress* progress, std::function<void()> on_wait)
      : job_(job),
        progress_(progress),
        on_wait_(std::move(on_wait)),
        files_(std::move(files.paths)),
        errors_(std::move(files.errors)) {
    if (files_.empty() && errors_.empty()) errors_.push_back(job.paths[0] + ": there are no files in it");
    std::reverse(errors_.begin(), errors_.end());
  }

  bool Next(Task* task) {
    *task = Task();
    if (!errors_.empty()) return Trouble(task, errors_.back()), errors_.pop_back(), true;
    while (true) {
      try {
        if (replies_ == nullptr && !Open()) return false;
        if (TakeReply(task) || TakeLookalikes(task)) return true;
      } catch (const InputError& error) {
        Close();
        Trouble(task, fmt::format("{}: {}", name_, error.what()));
        return true;
      }
    }
  }

 private:
  bool Open() {
    if (next_file_ == files_.size()) return false;
    const std::string path = files_[next_file_++];
    name_ = path == "-" ? "(standard input)" : path;
    source_ = std::make_unique<FileSource>(path);
    source_->OnWait(on_wait_);
    counted_ = 0;
    replies_ = std::make_unique<ReplyReader>(
        source_.get(), job_.from, [](const std::string& text, std::string* bytes, std::string* error) {
          return TextToBytes(text, false, bytes, error);
        });
    return true;
  }

  // What the file's lines seemed to hold is said at its end, once. False if there is nothing to say.
  bool TakeLookalikes(Task* task) {
    const replies::Lookalikes lookalikes = replies_->lookalikes();
    Close();
    if (lookalikes.lines == 0) return false;
    task->error =
        fmt::format("{}: {} looked like {} not; first at line {}", name_,
                    lookalikes.lines == 1 ? "1 line" : fmt::format("{} lines", lookalikes.lines),
                    lookalikes.lines == 1 ? "a reply and was" : "replies and were", lookalikes.first_line);
    task->error_code = job_.strict ? kSomeNotShown : kAllShown;
    return true;
  }

  void Close() {
    replies_.reset();
    source_.reset();
  }

  // False at the end of the file.
  bool TakeReply(Task* task) {
    const replies::Next next = replies_->Read(&task->item.reply, &task->error);
    progress_->Add(replies_->position() - counted_, next == replies::Next::kReply ? 1 : 0);
    counted_ = replies_->position();
    if (next == replies::Next::kEnd) return false;
    task->item.source = name_;
    task->item.name_source = files_.size() > 1;
    task->item.number_reply = replies_->many();
    if (next == replies::Next::kBad) {
      task->error = fmt::format("{}: {}", name_, task->error);
      task->error_code = kSomeNotShown;
    }
    return true;
  }

  static void Trouble(Task* task, const std::string& what) {
    task->error = what;
    task->error_code = kFileTrouble;
  }

  const Job& job_;
  Progress* progress_;
  std::function<void()> on_wait_;
  std::vector<std::string> files_;
  std::vector<std::string> errors_;
  size_t next_file_ = 0;
  std::string name_;
  std::unique_ptr<FileSource> source_;
  std::unique_ptr<ReplyReader> replies_;
  uint64_t counted_ = 0;
};

// ---- writing ----

// The strict user wants no more.
class StopAtFirst : public std::exception {};

class Writer {
 public:
  Writer(const Job& job, Output* output, Progress* progress)
      : job_(job), output_(output), progress_(progress) {}

  void Write(const Task& task, const Shown& shown) {
    if (!task.error.empty()) return Fail(task.error, task.error_code);
    ++replies_;
    bytes_ += task.item.reply.bytes.size();
    if (!shown.error.empty()) return Fail(Where(task.item) + shown.error, kSomeNotShown);
    // The progress line and the output may share the terminal.
    if (output_shares_terminal_) progress_->Clear();
    if (job_.view.to == To::kTable && written_ != 0) output_->Write("\n");
    if (shown.header != last_header_) {
      if (!last_header_.empty()) output_->Write("\n");
      output_->Write(shown.header);
      last_header_ = shown.header;
    }
    output_->Write(shown.out);
    ++written_;
  }

  void End() {
    if (job_.view.to == To::kSummary && replies_ > 1) {
      output_->Write(fmt::format("{} replies, {} bytes{}\n", replies_, bytes_,
                                 failed_ == 0 ? "" : fmt::format(", {} cannot be shown", failed_)));
    }
    output_->Flush();
  }

  ExitCode code() const { return code_; }

 private:
  static std::string Where(const Item& item) {
    if (!item.number_reply) return item.source + ": ";
    return fmt::format("{}: reply {} at offset {}: ", item.source, item.reply.number, item.reply.offset);
  }

  void Fail(const std::string& what, ExitCode code) {
    failed_ += code == kAllShown ? 0 : 1;
    code_ = std::max(code_, code);
    // What was shown before stands before the complaint, also where both go to one place.
    output_->Flush();
    progress_->Clear();
    Complain(what);
    if (job_.strict) throw StopAtFirst();
  }

  const Job& job_;
  Output* output_;
  Progress* progress_;
  const bool output_shares_terminal_ = IsTerminal(STDOUT_FILENO);
  std::string last_header_;
  uint64_t replies_ = 0;
  uint64_t bytes_ = 0;
  uint64_t written_ = 0;
  uint64_t failed_ = 0;
  ExitCode code_ = kAllShown;
};

Shown ShowTask(const Job& job, const Task& task) {
  return task.error.empty() ? Show(job.view, task.item) : Shown();
}

// ---- many at a time ----

// The calling thread reads, workers show, one thread writes in the order of reading.
class Pipeline {
 public:
  Pipeline(const Job& job, Writer* writer, Output* output) : job_(job), writer_(writer), output_(output) {
    // Signals are the reader's: it is the one that may have to be woken.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    for (int i = 0; i < job.jobs; ++i)
      threads_.emplace_back([this] { Work(); });
    threads_.emplace_back([this] { WriteAll(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }

  ~Pipeline() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) {
      if (thread.joinable()) thread.join();
    }
  }

  // False when nobody wants more.
  bool Add(Task task) {
    batch_bytes_ += task.item.reply.bytes.size();
    if (batch_ == nullptr) batch_ = std::make_unique<Batch>();
    batch_->tasks.push_back(std::move(task));
    if (batch_->tasks.size() < kBatchReplies && batch_bytes_ < kBatchBytes) return true;
    return Send();
  }

  // Hands over what has been collected.
  bool Send() {
    if (batch_ == nullptr) return true;
    std::unique_lock<std::mutex> lock(mutex_);
    const size_t most = kBatchesForEachWorker * static_cast<size_t>(job_.jobs);
    while (!stop_ && (waiting_.size() >= most || (bytes_waiting_ > kBytesWaiting && !waiting_.empty()))) {
      changed_.wait_for(lock, std::chrono::milliseconds(100));
      if (WasInterrupted()) throw Interrupted();
    }
    if (stop_) return false;
    batch_->bytes = batch_bytes_;
    bytes_waiting_ += batch_bytes_;
    waiting_.push_back(std::move(batch_));
    batch_bytes_ = 0;
    lock.unlock();
    changed_.notify_all();
    return true;
  }

  // Waits until all is written. Throws what the writing threw.
  void Finish() {
    Send();
    std::unique_lock<std::mutex> lock(mutex_);
    all_read_ = true;
    changed_.notify_all();
    while (!stop_ && !waiting_.empty()) {
      changed_.wait_for(lock, std::chrono::milliseconds(100));
      if (WasInterrupted()) throw Interrupted();
    }
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  struct Batch {
    std::vector<Task> tasks;
    std::vector<Shown> shown;
    size_t bytes = 0;
    bool taken = false;
    bool done = false;
  };

  Batch* NextUntaken() {
    for (const auto& batch : waiting_) {
      if (!batch->taken) return batch.get();
    }
    return nullptr;
  }

  void Work() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (true) {
      Batch* batch = nullptr;
      changed_.wait(lock, [&] { return stop_ || (batch = NextUntaken()) != nullptr || all_read_; });
      if (stop_ || batch == nullptr) return;
      batch->taken = true;
      lock.unlock();
      for (const Task& task : batch->tasks)
        batch->shown.push_back(ShowTask(job_, task));
      lock.lock();
      batch->done = true;
      changed_.notify_all();
    }
  }

  void WriteAll() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (true) {
      changed_.wait(lock, [&] {
        return stop_ || (!waiting_.empty() && waiting_.front()->done) || (all_read_ && waiting_.empty());
      });
      if (stop_ || waiting_.empty()) return;
      Batch* batch = waiting_.front().get();
      const bool last = waiting_.size() == 1;
      lock.unlock();
      std::exception_ptr failure;
      try {
        for (size_t i = 0; i < batch->tasks.size(); ++i)
          writer_->Write(batch->tasks[i], batch->shown[i]);
        // Nothing else is ready: what is there should not wait.
        if (last) output_->Flush();
      } catch (...) {
        failure = std::current_exception();
      }
      lock.lock();
      bytes_waiting_ -= batch->bytes;
      waiting_.pop_front();
      if (failure) {
        failure_ = failure;
        stop_ = true;
      }
      changed_.notify_all();
    }
  }

  const Job& job_;
  Writer* writer_;
  Output* output_;
  std::unique_ptr<Batch> batch_;
  size_t batch_bytes_ = 0;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::unique_ptr<Batch>> waiting_;  // read and not yet written, in order
  size_t bytes_waiting_ = 0;
  bool all_read_ = false;
  bool stop_ = false;
  std::exception_ptr failure_;
  std::vector<std::thread> threads_;
};

bool WantProgress(const Job& job) {
  if (job.progress != When::kAuto) return job.progress == When::kAlways;
  return IsTerminal(STDERR_FILENO) && !IsTerminal(STDOUT_FILENO);
}

void RunOneByOne(const Job& job, Reader* reader, Writer* writer) {
  Task task;
  while (reader->Next(&task))
    writer->Write(task, ShowTask(job, task));
}

void RunMany(Reader* reader, Pipeline* pipeline) {
  Task task;
  while (reader->Next(&task)) {
    if (!pipeline->Add(std::move(task))) break;
  }
  pipeline->Finish();
}

}  // namespace

void Complain(const std::string& what) {
  // Names of files and words of the input come in here: none of them may end the line or steer the terminal.
  const std::string line = "tesview: " + Printable(what) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

ExitCode Run(const Job& job) {
  CatchInterrupts();
  Output output(STDOUT_FILENO);
  Pipeline* pipeline = nullptr;
  InputFiles files = FindFiles(job.paths);
  Progress progress(WantProgress(job), job.progress == When::kAlways, files.bytes);
  Writer writer(job, &output, &progress);
  Reader reader(job, std::move(files), &progress, [&] {
    pipeline != nullptr ? static_cast<void>(pipeline->Send()) : output.Flush();
    if (WasInterrupted()) throw Interrupted();
  });
  try {
    try {
      if (job.jobs > 1) {
        Pipeline many(job, &writer, &output);
        pipeline = &many;
        RunMany(&reader, &many);
        pipeline = nullptr;
      } else {
        RunOneByOne(job, &reader, &writer);
      }
    } catch (const StopAtFirst&) {
      // What came before has been written.
    }
    pipeline = nullptr;
    writer.End();
  } catch (const OutputClosed&) {
    // Whoever read it has seen enough.
  } catch (const OutputError& error) {
    progress.Clear();
    Complain(error.what());
    return kFileTrouble;
  } catch (const Interrupted&) {
    progress.Clear();
    EndByInterrupt();
  }
  return writer.code();
}

}  // namespace tesview
