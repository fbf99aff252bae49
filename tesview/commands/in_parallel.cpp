#include "tesview/commands/in_parallel.h"

#include <fmt/format.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "tesview/terminal/complain.h"
#include "tesview/terminal/interrupt.h"
#include "tesview/terminal/threads.h"

namespace tesview {
namespace {

// What may wait in memory at once; a single reply may be larger than that.
constexpr size_t kBatchesForEachThread = 4;
constexpr size_t kBytesWaiting = size_t{64} * 1024 * 1024;

// Files of so many bytes are read while what was read is shown.
constexpr uint64_t kWorthReadingAhead = uint64_t{16} * 1024 * 1024;

struct Batch {
  std::vector<ReadItem> read;
  std::vector<Shown> shown;
  size_t bytes = 0;
  bool taken = false;
  bool done = false;
};

class Workers {
 public:
  Workers(Renderer* renderer, int threads, Printer* printer)
      : renderer_(renderer), portion_(renderer->portion()), printer_(printer) {
    // Where there is no room for one more there is none for what they do, either: half of them leaves some.
    for (size_t wanted = static_cast<size_t>(threads); !Start(wanted);) {
      wanted = threads_.size() / 2;
      Stop();
    }
  }

  ~Workers() { Stop(); }
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  size_t threads() const { return threads_.size(); }

  // False when nobody wants more.
  bool Add(ReadItem read) {
    if (next_ == nullptr) next_ = std::make_unique<Batch>();
    renderer_->Look(read);
    next_->bytes += read.item.reply.bytes.size();
    next_->read.push_back(std::move(read));
    if (next_->read.size() < portion_.replies && next_->bytes < portion_.bytes) return true;
    return Send();
  }

  // Hands over what has been collected.
  bool Send() {
    if (next_ == nullptr) return true;
    std::unique_lock<std::mutex> lock(mutex_);
    const size_t most = kBatchesForEachThread * threads_.size();
    WaitWhile(&lock, [&] { return waiting_.size() >= most || bytes_waiting_ > kBytesWaiting; });
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
  bool Start(size_t threads) {
    stop_ = false;
    return StartThreads(
        threads, [this] { Work(); }, &threads_);
  }

  void Stop() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    changed_.notify_all();
    if (WasInterrupted()) WakeUntilDone();
    for (std::thread& thread : threads_)
      thread.join();
    threads_.clear();
  }

  // One that waits for whoever reads the output knows of no signal.
  void WakeUntilDone() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (working_ != 0) {
      for (std::thread& thread : threads_)
        Wake(&thread);
      changed_.wait_for(lock, std::chrono::milliseconds(20));
    }
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
    ++working_;
    WorkUntilStop(&lock);
    --working_;
    changed_.notify_all();
  }

  void WorkUntilStop(std::unique_lock<std::mutex>* held) {
    std::unique_lock<std::mutex>& lock = *held;
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
      if (!printing_) PrintAllDone(held);
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
      renderer_->Render(batch->read,
                        [batch](const ReadItem&, Shown shown) { batch->shown.push_back(std::move(shown)); });
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

  Renderer* const renderer_;
  const Portion portion_;
  Printer* printer_;
  std::unique_ptr<Batch> next_;  // the calling thread's

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::unique_ptr<Batch>> waiting_;  // read and not yet printed, in order
  size_t bytes_waiting_ = 0;
  bool printing_ = false;
  bool stop_ = false;
  size_t working_ = 0;  // threads that have begun and not ended
  std::exception_ptr failure_;
  std::vector<std::thread> threads_;
};

// Hands over what has been read if there is no more to be had at once.
template <class Send>
void SendOnWait(const Renderer& renderer, ReplyFiles* files, Send send) {
  files->OnWait([&renderer, files, send] {
    if (renderer.IsHasty() || files->HasPaused()) send();
  });
}

class OneByOne {
 public:
  OneByOne(Renderer* renderer, Printer* printer)
      : renderer_(renderer),
        portion_(renderer->IsHasty() ? Portion{1, 0} : renderer->portion()),
        printer_(printer) {}

  void Add(ReadItem read) {
    renderer_->Look(read);
    bytes_ += read.item.reply.bytes.size();
    const bool ends_all = !read.error.empty() && printer_->StopsAtFirst();
    read_.push_back(std::move(read));
    if (ends_all || read_.size() >= portion_.replies || bytes_ >= portion_.bytes) Send();
  }

  void Send() {
    bytes_ = 0;
    const std::vector<ReadItem> read = std::exchange(read_, {});
    renderer_->Render(read, [&](const ReadItem& each, const Shown& shown) { printer_->Print(each, shown); });
  }

 private:
  Renderer* renderer_;
  Portion portion_;
  Printer* printer_;
  std::vector<ReadItem> read_;
  size_t bytes_ = 0;
};

void ShowOneByOne(Renderer* renderer, ReplyFiles* files, Printer* printer) {
  OneByOne replies(renderer, printer);
  SendOnWait(*renderer, files, [&] {
    replies.Send();
    printer->Flush();
  });
  ReadItem read;
  while (files->Next(&read))
    replies.Add(std::move(read));
  replies.Send();
}

}  // namespace

void ShowInParallel(Renderer* renderer, int threads, ReplyFiles* files, Printer* printer) {
  const bool reads_ahead = threads > 1 || (threads == 1 && files->TotalBytes() >= kWorthReadingAhead);
  if (!reads_ahead) return ShowOneByOne(renderer, files, printer);
  renderer->Prepare();
  Workers workers(renderer, threads, printer);
  if (threads > 1 && workers.threads() < static_cast<size_t>(threads)) {
    Complain(fmt::format("{} of the {} threads that --jobs asks for are used: there is no room for more",
                         workers.threads(), threads));
  }
  if (workers.threads() == 0) return ShowOneByOne(renderer, files, printer);
  SendOnWait(*renderer, files, [&] { workers.Send(); });
  ReadItem read;
  while (files->Next(&read)) {
    if (!workers.Add(std::move(read))) break;
  }
  workers.Finish();
}

}  // namespace tesview
