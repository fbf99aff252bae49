#include "stream.h"

#include <google/protobuf/stubs/logging.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "arrow_columns.h"
#include "errors.h"
#include "inputs.h"
#include "replies/arrow_schema.h"
#include "replies/diagnosis.h"
#include "replies/table_stream.h"

namespace tesparser_python {
namespace {

namespace py = pybind11;
using replies::Misfit;

// What is asked for; the fields of `read()`.
struct Request {
  replies::TableRequest table;
  replies::StreamOptions options;
  std::vector<std::string> path;  // of columns, to the table whose rows are wanted
  bool flat = true;
};

Request RequestOf(const py::dict& asked) {
  const auto get = [&asked](const char* name) { return py::object(asked[name]); };
  Request request;
  request.table.id = get("id").cast<int32_t>();
  if (!get("type").is_none()) request.table.type = static_cast<TPType>(get("type").cast<int>());
  request.table.decode = get("decode").cast<bool>();
  request.table.unpack.all = get("unpack_all").cast<bool>();
  request.table.unpack.fields = get("unpack_fields").cast<std::vector<std::string>>();
  request.path = get("path").cast<std::vector<std::string>>();
  request.flat = get("flat").cast<bool>();
  request.options.flat = request.flat && request.path.empty();
  request.options.columns = get("columns").cast<std::vector<std::string>>();
  request.options.batch_rows = get("batch_rows").cast<int64_t>();
  request.options.number = get("number").cast<bool>();
  request.options.offset = get("offset").cast<bool>();
  request.options.on_misfit =
      get("on_misfit").is_none() ? replies::OnMisfit::kStop : replies::OnMisfit::kSkip;
  return request;
}

// One pass over the sources. Its functions are called by one thread at a time, with or without the
// interpreter's lock, as a consumer of Arrow may have any thread; made and destroyed with it.
class Pass {
 public:
  Pass(const py::list& sources, const std::string& form, const py::dict& asked)
      : inputs_(sources, form), request_(RequestOf(asked)), on_misfit_(asked["on_misfit"]) {
    std::string error;
    const auto next = [this](replies::Reply* reply, std::string* why) { return inputs_.Read(reply, why); };
    const auto on_misfit = [this](const Misfit& misfit) { Tell(misfit); };
    const py::gil_scoped_release unlocked;
    made_ = replies::MakeTableStream(next, request_.table, request_.options, on_misfit, &counts_, &stream_,
                                     &error);
    if (!made_) error_ = error;
  }
  ~Pass() {
    if (made_ && stream_.release != nullptr) stream_.release(&stream_);
  }
  Pass(const Pass&) = delete;
  Pass& operator=(const Pass&) = delete;

  bool made() const { return made_; }
  const std::string& error() const { return error_; }
  const Request& request() const { return request_; }
  const replies::StreamCounts& counts() const { return counts_; }
  Inputs* inputs() { return &inputs_; }

  int GetSchema(ArrowSchema* out) {
    return Guarded([&] {
      replies::ArrowOwner<ArrowSchema> schema;
      if (const int code = Inner(stream_.get_schema(&stream_, schema.get()))) return code;
      if (request_.path.empty()) {
        *out = schema.Move();
        return 0;
      }
      const ArrowSchema& inside = InsideOf(*schema);
      if (request_.flat) {
        *out = FlatSchema(inside);
      } else {
        CopySchema(inside, out);
      }
      return 0;
    });
  }

  int GetNext(ArrowArray* out) {
    return Guarded([&] {
      const google::protobuf::LogSilencer silence;
      replies::ArrowOwner<ArrowArray> array;
      if (const int code = Inner(stream_.get_next(&stream_, array.get()))) return code;
      if (!array || request_.path.empty()) {
        *out = array.Move();
        return 0;
      }
      const auto whole = std::make_shared<SharedArrow>();
      if (const int code = Inner(stream_.get_schema(&stream_, &whole->schema))) return code;
      whole->array = array.Move();
      Columns inside{ArrowShare(whole)};
      for (const std::string& name : request_.path)
        inside = inside.InsideOf(name);
      if (request_.flat) inside = Flatten(inside);
      replies::ArrowOwner<ArrowSchema> schema;
      inside.Export(schema.get(), out);
      return 0;
    });
  }

 private:
  template <class Call>
  int Guarded(Call call) {
    try {
      return call();
    } catch (const std::bad_alloc&) {
      error_ = "out of memory";
      return ENOMEM;
    } catch (const py::key_error& error) {
      return Failed(error, ENOENT);
    } catch (const std::length_error& error) {
      return Failed(error, EOVERFLOW);
    } catch (const std::exception& error) {
      return Failed(error, EINVAL);
    }
  }

  int Failed(const std::exception& error, int code) {
    error_ = error.what();
    return code;
  }

  int Inner(int code) {
    if (code == 0) return 0;
    const char* said = stream_.get_last_error(&stream_);
    error_ = said == nullptr ? "the stream failed" : said;
    return code;
  }

  // The type of the rows at the path.
  const ArrowSchema& InsideOf(const ArrowSchema& whole) const {
    const ArrowSchema* rows = &whole;
    for (const std::string& name : request_.path) {
      ArrowSchema** end = rows->children + rows->n_children;
      ArrowSchema** at = std::find_if(rows->children, end, [&name](const ArrowSchema* field) {
        return name == field->name && std::strcmp(field->format, "+l") == 0;
      });
      if (at == end) throw py::key_error("no column of tables " + name);
      rows = (*at)->children[0];
    }
    return *rows;
  }

  void Tell(const Misfit& misfit) {
    const py::gil_scoped_acquire locked;
    if (py::isinstance<py::bool_>(on_misfit_)) return;
    const auto error = py::module_::import("tesparser._errors").attr("Misfit");
    try {
      on_misfit_(error(TextToPython(misfit.why), misfit.number, misfit.offset, TextToPython(inputs_.name())));
    } catch (const py::error_already_set&) {
      inputs_.KeepRaised();
      throw replies::InputError("whoever was told of a misfit failed");
    }
  }

  Inputs inputs_;
  Request request_;
  py::object on_misfit_;  // None to stop, True to skip in silence, or what is told of each
  replies::StreamCounts counts_;
  ArrowArrayStream stream_{};
  bool made_ = false;
  std::string error_;
};

[[noreturn]] void RaiseFailure(Pass* pass, int code) {
  pass->inputs()->Rethrow();
  if (code == ENOMEM) throw std::bad_alloc();
  if (code == ENOENT) throw py::key_error(pass->error());
  if (code == EOVERFLOW) RaiseNotExpressible(pass->error());
  if (code == EINVAL)
    RaiseMisfit(pass->error(), pass->inputs()->number(), pass->inputs()->offset(), pass->inputs()->name());
  RaiseOsError(pass->error());
}

// What a consumer of Arrow has of it.
struct Handed {
  std::unique_ptr<Pass> pass;

  static Pass* PassOf(ArrowArrayStream* stream) {
    return static_cast<Handed*>(stream->private_data)->pass.get();
  }
  static void Release(ArrowArrayStream* stream) {
    auto* handed = static_cast<Handed*>(stream->private_data);
    stream->release = nullptr;
    // An interpreter that has ended has let go of everything.
    if (Py_IsInitialized() == 0) return;
    const py::gil_scoped_acquire locked;
    delete handed;
  }
};

class Stream {
 public:
  Stream(const py::list& sources, const std::string& form, const py::dict& asked)
      : pass_(std::make_unique<Pass>(sources, form, asked)) {
    if (pass_->made()) return;
    if (!replies::HasTable(pass_->request().table))
      Raise({replies::Reason::kNoTableForm, 0, "", pass_->error()});
    throw py::key_error(pass_->error());
  }

  // (name, format, metadata) of each field.
  py::list Fields() {
    ArrowSchema schema{};
    Call([&] { return pass().GetSchema(&schema); });
    const replies::ArrowOwner<ArrowSchema> held(schema);
    py::list fields;
    for (int64_t i = 0; i < schema.n_children; ++i) {
      const ArrowSchema& field = *schema.children[i];
      fields.append(py::make_tuple(TextToPython(field.name), FormatOf(field), MetadataOf(field)));
    }
    return fields;
  }

  // The next batch; None at the end.
  py::object Next() {
    const auto batch = std::make_shared<SharedArrow>();
    Call([&] { return pass().GetNext(&batch->array); });
    if (batch->array.release == nullptr) return py::none();
    Call([&] { return pass().GetSchema(&batch->schema); });
    return py::cast(Columns(ArrowShare(batch)));
  }

  // Hands the rest over; this is empty then.
  py::capsule Capsule() {
    Call([&] {
      pass();
      return 0;
    });
    ArrowArrayStream stream{};
    stream.get_schema = [](ArrowArrayStream* self, ArrowSchema* out) {
      return Handed::PassOf(self)->GetSchema(out);
    };
    stream.get_next = [](ArrowArrayStream* self, ArrowArray* out) {
      return Handed::PassOf(self)->GetNext(out);
    };
    stream.get_last_error = [](ArrowArrayStream* self) { return Handed::PassOf(self)->error().c_str(); };
    stream.release = Handed::Release;
    stream.private_data = new Handed{std::move(pass_)};
    return StreamCapsule(stream);
  }

  // (replies, rows, empty, passed over, misfits, lines that looked like replies).
  py::tuple Counts() {
    const replies::StreamCounts& counts = pass().counts();
    return py::make_tuple(counts.replies, counts.rows, counts.empty, counts.passed_over, counts.misfits,
                          pass().inputs()->lookalikes());
  }

  uint64_t Position() { return pass().inputs()->position(); }

 private:
  Pass& pass() {
    if (!pass_) throw py::value_error("the stream was handed over");
    return *pass_;
  }

  template <class Function>
  void Call(Function function) {
    int code = 0;
    {
      const py::gil_scoped_release unlocked;
      const std::lock_guard<std::mutex> one_at_a_time(mutex_);
      code = function();
    }
    if (code != 0) RaiseFailure(&pass(), code);
  }

  std::mutex mutex_;
  std::unique_ptr<Pass> pass_;
};

}  // namespace

void BindStream(py::module_* module) {
  py::class_<Stream>(*module, "Stream")
      .def(py::init<const py::list&, const std::string&, const py::dict&>())
      .def("fields", &Stream::Fields)
      .def("next", &Stream::Next)
      .def("capsule", &Stream::Capsule)
      .def_property_readonly("counts", &Stream::Counts)
      .def_property_readonly("position", &Stream::Position);
  module->def("flatten", [](const Columns& nested) {
    const py::gil_scoped_release unlocked;
    return Flatten(nested);
  });
}

}  // namespace tesparser_python
