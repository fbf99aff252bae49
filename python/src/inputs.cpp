#include "inputs.h"

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "replies/source.h"
#include "replies/text_form.h"

namespace tesparser_python {
namespace {

namespace py = pybind11;
using replies::Form;
using replies::InputError;

// What the viewer has an option for is a parameter here.
std::string InPython(std::string message) {
  constexpr std::string_view kOption = "--from says";
  const size_t at = message.rfind(kOption);
  if (at != std::string::npos) message.replace(at, kOption.size(), "form= says");
  return message;
}

// Ctrl-C is looked at before each read, and while nobody writes to a pipe; elsewhere than on the main thread
// there is none.
void CheckSignals() {
  const py::gil_scoped_acquire locked;
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

}  // namespace

Form FormOf(const std::string& word) {
  std::string known;
  for (const auto& each : replies::kFormWords) {
    if (word == each.word) return each.value;
    known += (known.empty() ? "" : ", ") + std::string(each.word);
  }
  throw py::value_error("no form \"" + word + "\"; known: " + known);
}

size_t ObjectSource::Read(char* to, size_t size) {
  const py::gil_scoped_acquire locked;
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  const py::object got = py::handle(object_).attr("read")(size);
  if (!PyObject_CheckBuffer(got.ptr()))
    throw py::type_error("read() gave no bytes; open the file in binary mode");
  const py::buffer_info bytes = py::reinterpret_borrow<py::buffer>(got).request();
  const auto count = static_cast<size_t>(bytes.size * bytes.itemsize);
  if (count > size) throw py::value_error("read() gave more bytes than were asked for");
  std::memcpy(to, bytes.ptr, count);
  return count;
}

Inputs::Inputs(const py::list& sources, const std::string& form) {
  constexpr std::string_view kWhole = "whole:";
  const bool whole = form.compare(0, kWhole.size(), kWhole) == 0;
  form_ = FormOf(whole ? form.substr(kWhole.size()) : form);
  resync_ = !whole;
  for (const py::handle& each : sources) {
    const auto pair = py::cast<std::pair<std::string, py::object>>(each);
    sources_.push_back({pair.first, pair.second, {}});
  }
  for (Source& source : sources_) {
    if (!PyObject_CheckBuffer(source.object.ptr())) continue;
    if (PyObject_GetBuffer(source.object.ptr(), &source.memory, PyBUF_SIMPLE) != 0) {
      // The destructor does not run, so what is held already is let go here.
      const py::error_already_set error;
      for (Source& held : sources_)
        PyBuffer_Release(&held.memory);
      throw py::error_already_set(error);
    }
  }
}

Inputs::~Inputs() {
  for (Source& source : sources_)
    PyBuffer_Release(&source.memory);
}

bool Inputs::Open() {
  if (next_ == sources_.size()) return false;
  const Source& source = sources_[next_++];
  name_ = source.name;
  if (source.memory.obj != nullptr) {
    source_ = std::make_unique<replies::MemorySource>(std::string_view(
        static_cast<const char*>(source.memory.buf), static_cast<size_t>(source.memory.len)));
  } else if (source.object.is_none()) {
    auto file = std::make_unique<replies::FileSource>(name_, CheckSignals);
    file->OnWait(CheckSignals);
    source_ = std::move(file);
  } else {
    source_ = std::make_unique<ObjectSource>(source.object.ptr());
  }
  unpacked_ = std::make_unique<replies::UnpackedSource>(source_.get());
  reader_ = std::make_unique<replies::ReplyReader>(
      unpacked_.get(), form_, [](const std::string& text, std::string* bytes, std::string* error) {
        return replies::TextToBytes(text, false, bytes, error);
      });
  if (!resync_) reader_->StopAtDamage();
  if (choose_) reader_->OnlyIf(choose_);
  return true;
}

void Inputs::Close() {
  done_ += reader_->position();
  lookalikes_ += reader_->lookalikes().lines;
  reader_.reset();
  unpacked_.reset();
  source_.reset();
}

replies::Next Inputs::ReadOne(replies::Reply* reply, std::string* error) {
  while (reader_ != nullptr || Open()) {
    const replies::Next next = reader_->Read(reply, error);
    if (next != replies::Next::kEnd) {
      number_ = reply->number;
      offset_ = reply->offset;
      if (next == replies::Next::kBad) *error = InPython(std::move(*error));
      return next;
    }
    Close();
  }
  return replies::Next::kEnd;
}

replies::Next Inputs::Read(replies::Reply* reply, std::string* error) {
  try {
    return ReadOne(reply, error);
  } catch (const InputError& failed) {
    throw InputError(name_ + ": " + InPython(failed.what()));
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    KeepRaised();
    throw InputError(name_ + ": the reading was broken off");
  }
}

void Inputs::Rethrow() {
  if (raised_) std::rethrow_exception(std::exchange(raised_, nullptr));
}

}  // namespace tesparser_python
