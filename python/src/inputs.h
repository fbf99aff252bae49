// Replies of what Python calls a source: a path, bytes in memory, or an object that reads.
#ifndef PYTHON_SRC_INPUTS_H_
#define PYTHON_SRC_INPUTS_H_

#include <pybind11/pybind11.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "replies/byte_source.h"
#include "replies/form.h"
#include "replies/reply_reader.h"
#include "replies/unpacked_source.h"

namespace tesparser_python {

// A form as the viewer's --from has it. Throws ValueError.
replies::Form FormOf(const std::string& word);

// An object of Python's that has read(size). Takes the interpreter's lock for each read.
class ObjectSource : public replies::ByteSource {
 public:
  // Kept by whoever has this.
  explicit ObjectSource(PyObject* object) : object_(object) {}
  size_t Read(char* to, size_t size) override;

 private:
  PyObject* object_;
};

// The sources of one pass, one after the other. Made and destroyed with the interpreter's lock; read by one
// thread at a time, without it.
class Inputs {
 public:
  // Each is a pair of a name and an object: None, where the name is a path; one with the buffer protocol, or
  // with read(). `form` as FormOf() has it; with "whole:" in front, all replies of a stream were found to be
  // whole before, so that nothing is searched for in it.
  Inputs(const pybind11::list& sources, const std::string& form);
  ~Inputs();
  Inputs(const Inputs&) = delete;
  Inputs& operator=(const Inputs&) = delete;

  // As ReplyReader::Read. Throws InputError, with the source's name; what Python raises is kept, to be thrown
  // by Rethrow().
  replies::Next Read(replies::Reply* reply, std::string* error);

  // As ReplyReader::OnlyIf(), of all sources.
  void OnlyIf(replies::Choose choose) { choose_ = std::move(choose); }

  // Keeps the exception that is being handled, for Rethrow(); the reading ends then.
  void KeepRaised() { raised_ = std::current_exception(); }
  // Throws what ended the reading, if something in Python did. Needs the interpreter's lock.
  void Rethrow();

  // Of the source that was read last: its place among all, its name, and the reply that was begun last.
  int32_t index() const { return static_cast<int32_t>(next_) - 1; }
  const std::string& name() const { return name_; }
  uint64_t number() const { return number_; }
  uint64_t offset() const { return offset_; }
  // Bytes of all sources that have been dealt with.
  uint64_t position() const { return done_ + (reader_ == nullptr ? 0 : reader_->position()); }
  // Lines of logs that looked like replies and were none.
  uint64_t lookalikes() const { return lookalikes_; }

 private:
  struct Source {
    std::string name;
    pybind11::object object;
    Py_buffer memory{};  // held while `object` has one
  };

  bool Open();
  void Close();
  replies::Next ReadOne(replies::Reply* reply, std::string* error);

  std::vector<Source> sources_;
  replies::Form form_;
  bool resync_;
  replies::Choose choose_;
  size_t next_ = 0;
  std::unique_ptr<replies::ByteSource> source_;
  std::unique_ptr<replies::UnpackedSource> unpacked_;
  std::unique_ptr<replies::ReplyReader> reader_;
  std::exception_ptr raised_;
  std::string name_;
  uint64_t number_ = 0;
  uint64_t offset_ = 0;
  uint64_t done_ = 0;
  uint64_t lookalikes_ = 0;
};

}  // namespace tesparser_python

#endif  // PYTHON_SRC_INPUTS_H_
