// Columns of Python objects into numbers of states, without a loop in Python: texts of spreadsheets are mostly few
// objects that occur again and again, which are known by where they are.
#include <array>
#include <cstdint>

#include "Net.h"

namespace binding {
namespace {

// What was looked up last, by address; holds on to the objects, so that no other can come to stand there.
class Recent {
 public:
  Recent() = default;
  ~Recent() {
    for (const Slot& slot : slots_) Py_XDECREF(slot.object);
  }
  Recent(const Recent&) = delete;
  Recent& operator=(const Recent&) = delete;
  struct Slot {
    PyObject* object = nullptr;  // owned
    statetype code = 0;
  };
  Slot& Of(PyObject* object) { return slots_[(reinterpret_cast<std::uintptr_t>(object) >> 4) % slots_.size()]; }

 private:
  std::array<Slot, 256> slots_;
};

// codes[object], where a dict's own way with what is missing counts.
statetype LookUp(nb::handle codes, nb::handle object) {
  PyObject* known = PyDict_GetItemWithError(codes.ptr(), object.ptr());
  if (known) return nb::cast<statetype>(nb::handle(known));
  if (PyErr_Occurred()) throw nb::python_error();
  const nb::object found = nb::steal(PyObject_GetItem(codes.ptr(), object.ptr()));
  if (!found) throw nb::python_error();
  return nb::cast<statetype>(found);
}

// at(i) is the object there, borrowed. Looking up may run anybody's code, which may change the column.
template <class At>
void Encode(const At& at, nb::handle codes, const Array<statetype>& out) {
  Recent recent;
  const Py_ssize_t size = static_cast<Py_ssize_t>(out.Size());
  for (Py_ssize_t i = 0; i < size; ++i) {
    PyObject* object = at(i);
    if (!object) object = Py_None;
    Recent::Slot& slot = recent.Of(object);
    if (slot.object != object) {
      const nb::object held = nb::borrow(object);
      const statetype code = LookUp(codes, held);
      Py_XDECREF(slot.object);
      slot = {held.inc_ref().ptr(), code};
    }
    out.Data()[i] = slot.code;
  }
}

// column: a list, or an array of objects without gaps; codes: a dict, or what has one's lookups; out [length of
// column].
void EncodeObjects(nb::object column, nb::dict codes, nb::handle outIn) {
  const Array<statetype> out(outIn, true);
  if (PyList_Check(column.ptr())) {
    out.CheckSize(static_cast<double>(PyList_Size(column.ptr())));
    const auto at = [&](Py_ssize_t i) {
      PyObject* object = PyList_GetItem(column.ptr(), i);
      if (!object) throw nb::python_error();
      return object;
    };
    Encode(at, codes, out);
    return;
  }
  const Array<PyObject*> objects(column, false);
  out.CheckSize(static_cast<double>(objects.Size()));
  Encode([&](Py_ssize_t i) { return objects.Data()[i]; }, codes, out);
}

}  // namespace

void BindColumns(nb::module_& module) {
  module.def("encode_objects", EncodeObjects);
}

}  // namespace binding
