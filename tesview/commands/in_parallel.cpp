#include "tesview/commands/in_parallel.h"

#include <fmt/format.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "tesview/terminal/complain.h"
#include "tesview/terminal/interrupt.h"

namespace tesview {
namespace {

// A batch is handed over when it has this many replies or bytes: small replies would otherwise cost more to
// hand over than to show.
constexpr size_t kBatchReplies = 64;
constexpr size_t kBatchBytes = size_t{256} * 1024;
// What may wait in memory at once; a single reply may be larger than that.
constexpr size_t kBatchesForEachThread = 4;
constexpr size_t kBytesWaiting = size_t{64} * 1024 * 1024;

struct Batch {
  std::vector<ReadItem> read;
  std::vector<Shown> shown;
  size_t bytes = 0;
  bool taken = false;
  bool done = false;
};

class Workers {
 public:
  Workers(const View& view, int threads, Printer* printer) : view_(view), printer_(printer) {
    // Signals are the reader's: it is the one that may have to be woken.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    // Where there is no room for one more there is none for what they do, either: half of them leaves some.
    for (size_t wanted = static_cast<size_t>(threads); !Start(wanted);) {
      wanted = threads_.size() / 2;
      Stop();
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }

  ~Workers() { Stop(); }
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  size_t threads() const { return threads_.size(); }

  // False when nobody wants more.
  bool Add(ReadItem read) {
    if (next_ == nullptr) next_ = std::make_unique<Batch>();
    next_->bytes += read.item.reply.bytes.size();
    next_->read.push_back(std::move(read));
    if (next_->read.size() < kBatchReplies && next_->bytes < kBatchBytes) return true;
    return Send();
  }

  // Hands over what has been collected.
  bool Send() {
    if (next_ == nullptr) return true;
    std::unique_lock<std::mutex> lock(mutex_);
    const size_t most = kBatchesForEachThread * threads_.size();
    WaitWhile(&lock, [&] {
      return waiting_.size() >= most || (bytes_waiting_ > kBytesWaiting && !waiting_.empty());
    });
    if (stop_) return false;
    bytes_waiting_ += next_->bytes;
    waiting_.push_back(std::move(next_));
    lock.unlock();
    changed_.notify_all();
    return true;
  }

  // Waits until all is printed. Throws what the printing threw.
  void Finish() {
    Send();
    std::unique_lock<std::mutex> lock(mutex_);
    WaitWhile(&lock, [&] { return !waiting_.empty(); });
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  // False if not so many can be started; those that were are there.
  bool Start(size_t threads) {
    stop_ = false;
    try {
      while (threads_.size() < threads)
        threads_.emplace_back([this] { Work(); });
    } catch (const std::system_error&) {
      return false;
    }
    return true;
  }

  void Stop() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_)
      thread.join();
    threads_.clear();
  }

  // Until a failure, too. A signal does not wake this thread from a condition, hence the short waits.
  template <class Condition>
  void WaitWhile(std::unique_lock<std::mutex>* lock, Condition condition) {
    while (!stop_ && condition()) {
      changed_.wait_for(*lock, std::chrono::milliseconds(100));
      if (WasInterrupted()) throw Interrupted();
    }
  }

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
      changed_.wait(lock, [&] { return stop_ || (batch = NextUntaken()) != nullptr; });
      if (stop_) return;
      batch->taken = true;
      lock.unlock();
      const std::exception_ptr failure = ShowAll(batch);
      lock.lock();
      batch->done = true;
      if (failure) Fail(failure);
      if (!printing_) PrintAllDone(&lock);
    }
  }

  // The calling thread throws it.
  void Fail(const std::exception_ptr& failure) {
    failure_ = failure;
    stop_ = true;
    changed_.notify_all();
  }

  std::exception_ptr ShowAll(Batch* batch) const {
    try {
      for (const ReadItem& read : batch->read)
        batch->shown.push_back(read.error.empty() ? Show(view_, read.item) : Shown());
    } catch (...) {
      return std::current_exception();
    }
    return nullptr;
  }

  // One thread prints at a time, and whatever is finished meanwhile is left to it.
  void PrintAllDone(std::unique_lock<std::mutex>* lock) {
    printing_ = true;
    while (!stop_ && !waiting_.empty() && waiting_.front()->done) {
      const Batch* batch = waiting_.front().get();
      // Nothing else is ready: what is there should not wait.
      const bool last = waiting_.size() == 1;
      lock->unlock();
      const std::exception_ptr failure = PrintAll(*batch, last);
      lock->lock();
      bytes_waiting_ -= batch->bytes;
      waiting_.pop_front();
      if (failure) Fail(failure);
      changed_.notify_all();
    }
    printing_ = false;
  }

  std::exception_ptr PrintAll(const Batch& batch, bool last) const {
    try {
      for (size_t i = 0; i < batch.read.size(); ++i)
        printer_->Print(batch.read[i], batch.shown[i]);
      if (last) printer_->Flush();
    } catch (...) {
      return std::current_exception();
    }
    return nullptr;
  }

  const View& view_;
  Printer* printer_;
  std::unique_ptr<Batch> next_;  // the calling thread's

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::unique_ptr<Batch>> waiting_;  // read and not yet printed, in order
  size_t bytes_waiting_ = 0;
  bool printing_ = false;
  bool stop_ = false;
  std::exception_ptr failure_;
  std::vector<std::thread> threads_;
};

void ShowOneByOne(const View& view, ReplyFiles* files, Printer* printer) {
  files->OnWait([&] { printer->Flush(); });
  ReadItem read;
  while (files->Next(&read))
    printer->Print(read, read.error.empty() ? Show(view, read.item) : Shown());
}

}  // namespace

void ShowInParallel(const View& view, int threads, ReplyFiles* files, Printer* printer) {
  if (threads == 1) return ShowOneByOne(view, files, printer);
  Workers workers(view, threads, printer);
  if (workers.threads() < static_cast<size_t>(threads)) {
    Complain(fmt::format("{} of the {} threads that --jobs asks for are used: there is no room for more",
                         workers.threads(), threads));
  }
  if (workers.threads() == 0) return ShowOneByOne(view, files, printer);
  files->OnWait([&] { workers.Send(); });
  ReadItem read;
  while (files->Next(&read)) {
    if (!workers.Add(std::move(read))) break;
  }
  workers.Finish();
}

}  // namespace tesview
