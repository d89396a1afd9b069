// What passes between Python and C: texts, which may be any bytes, and memory of numpy arrays and their like, which is
// read and written where it is.
#pragma once

#include <nanobind/nanobind.h>

#include <cstring>
#include <string>
#include <type_traits>

namespace nb = nanobind;

namespace binding {

struct Text {
  std::string bytes;
  Text() = default;
  Text(const char* text) : bytes(text ? text : "") {}
  // For C, which would take a zero byte for the end.
  const char* Z() const {
    if (bytes.find('\0') != std::string::npos) throw nb::value_error("a text holds a zero byte");
    return bytes.c_str();
  }
};

// An array of numbers, or objects, without gaps; the object keeps its memory in place as long as this lives. Needs the
// interpreter lock where it is made and where it ends.
template <class T>
class Array {
 public:
  Array(nb::handle object, bool isWritten) {
    if (object.is_none()) return;
    const int flags = PyBUF_C_CONTIGUOUS | PyBUF_FORMAT | (isWritten ? PyBUF_WRITABLE : 0);
    if (PyObject_GetBuffer(object.ptr(), &view_, flags) != 0) throw nb::python_error();
    if (view_.itemsize == sizeof(T) && HasFormat(view_.format ? view_.format : "B")) return;
    PyBuffer_Release(&view_);
    throw nb::type_error("an array of other numbers than expected");
  }
  ~Array() {
    if (view_.obj) PyBuffer_Release(&view_);
  }
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;
  T* Data() const { return static_cast<T*>(view_.buf); }
  long long Size() const { return view_.len / static_cast<Py_ssize_t>(sizeof(T)); }
  void CheckSize(double wanted) const {
    if (view_.obj && static_cast<double>(Size()) != wanted)
      throw nb::value_error("an array of another size than expected");
  }

 private:
  static bool HasFormat(const char* format) {
    if (std::strchr("@=<", *format) && *format) ++format;
    if (!*format || format[1]) return false;
    return std::strchr(std::is_pointer_v<T> ? "O" : std::is_floating_point_v<T> ? "fd" : "il", *format) != nullptr;
  }
  Py_buffer view_{};
};

}  // namespace binding

namespace nanobind::detail {

// UTF-8, and bytes that are none pass unharmed.
template <>
struct type_caster<binding::Text> {
  NB_TYPE_CASTER(binding::Text, const_name("str"))
  bool from_python(handle source, uint8_t, cleanup_list*) noexcept {
    if (!PyUnicode_Check(source.ptr())) return false;
    PyObject* bytes = PyUnicode_AsEncodedString(source.ptr(), "utf-8", "surrogateescape");
    if (!bytes) {
      PyErr_Clear();
      return false;
    }
    value.bytes.assign(PyBytes_AsString(bytes), static_cast<std::size_t>(PyBytes_Size(bytes)));
    Py_DECREF(bytes);
    return true;
  }
  static handle from_cpp(const binding::Text& text, rv_policy, cleanup_list*) noexcept {
    return PyUnicode_DecodeUTF8(text.bytes.data(), static_cast<Py_ssize_t>(text.bytes.size()), "surrogateescape");
  }
};

}  // namespace nanobind::detail
