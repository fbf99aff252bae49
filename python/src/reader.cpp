#include "reader.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "arrow_columns.h"
#include "errors.h"
#include "inputs.h"
#include "replies/source.h"
#include "replies/wire.h"

namespace tesparser_python {
namespace {

namespace py = pybind11;
using replies::Next;
using replies::Reply;

// What a path leads to: the files, in order, and the bytes of all of them, 0 where that is not known. Paths
// are bytes, as any are allowed in them.
py::tuple Files(const std::string& path) {
  const replies::InputFiles files = replies::FindFiles({path});
  if (!files.errors.empty()) RaiseOsError(files.errors[0]);
  py::list paths;
  for (const std::string& file : files.paths)
    paths.append(py::bytes(file));
  return py::make_tuple(paths, files.bytes);
}

// Raw replies.
class ReplyIterator {
 public:
  ReplyIterator(const py::list& sources, const std::string& form) : inputs_(sources, form) {}

  // (bytes, number, offset, source).
  py::tuple Next() {
    std::string error;
    const replies::Next next = Read(&error);
    if (next == replies::Next::kEnd) throw py::stop_iteration();
    if (next == replies::Next::kBad) RaiseMisfit(error, inputs_.number(), inputs_.offset(), inputs_.name());
    return py::make_tuple(py::bytes(reply_.bytes), reply_.number, reply_.offset,
                          TextToPython(inputs_.name()));
  }

 private:
  replies::Next Read(std::string* error) {
    try {
      const py::gil_scoped_release unlocked;
      return inputs_.Read(&reply_, error);
    } catch (const replies::InputError& failed) {
      inputs_.Rethrow();
      RaiseOsError(failed.what());
    }
  }

  Inputs inputs_;
  Reply reply_;
};

// The array takes over the memory: of small replies there may be as much of it as of what was read.
template <class T>
py::array_t<T> ArrayOf(std::vector<T>&& values) {
  auto kept = std::make_unique<std::vector<T>>(std::move(values));
  const py::capsule owner(kept.get(), [](void* owned) { delete static_cast<std::vector<T>*>(owned); });
  const std::vector<T>& numbers = *kept.release();
  return py::array_t<T>(static_cast<py::ssize_t>(numbers.size()), numbers.data(), owner);
}

// Where replies are, without a look into them but for their Ids.
class Scan {
 public:
  Scan(const py::list& sources, const std::string& form) : inputs_(sources, form) {}

  py::tuple Run() {
    try {
      const py::gil_scoped_release unlocked;
      ReadAll();
    } catch (const replies::InputError& failed) {
      inputs_.Rethrow();
      RaiseOsError(failed.what());
    }
    return py::make_tuple(ArrayOf(std::move(offsets_)), ArrayOf(std::move(lengths_)),
                          ArrayOf(std::move(ids_)), ArrayOf(std::move(sources_)), errors_);
  }

 private:
  void ReadAll() {
    inputs_.OnlyIf([this](const replies::ReplyView& reply) {
      int32_t id = -1;
      offsets_.push_back(static_cast<int64_t>(reply.offset));
      lengths_.push_back(static_cast<int64_t>(reply.bytes.size()));
      sources_.push_back(inputs_.index());
      ids_.push_back(replies::FindId(reply.bytes, &id) ? id : -1);
      return false;
    });
    Reply reply;
    std::string error;
    while (inputs_.Read(&reply, &error) != Next::kEnd) {
      const py::gil_scoped_acquire locked;
      errors_.append(TextToPython(inputs_.name() + ": " + error));
    }
  }

  Inputs inputs_;
  std::vector<int64_t> offsets_;
  std::vector<int64_t> lengths_;
  std::vector<int32_t> ids_;
  std::vector<int32_t> sources_;
  py::list errors_;
};

}  // namespace

void BindReader(py::module_* module) {
  module->def("files", Files);
  py::class_<ReplyIterator>(*module, "ReplyIterator")
      .def(py::init<const py::list&, const std::string&>())
      .def("next", &ReplyIterator::Next);
  module->def("scan",
              [](const py::list& sources, const std::string& form) { return Scan(sources, form).Run(); });
}

}  // namespace tesparser_python
