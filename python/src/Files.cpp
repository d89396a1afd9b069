// Nets from files and texts and back, in all formats.
#include <functional>
#include <memory>
#include <vector>

#include "Net.h"
#ifdef BRAVIC_HAS_FORMATS
#include "bravic_formats.h"
#endif

namespace binding {
namespace {

constexpr int NO_SUCH_FORMAT = 800;

#ifndef BRAVIC_HAS_FORMATS
// Built without pugixml: the library's own files alone.
void RefuseFormat(const char* format) {
  if (format && std::strcmp(format, "dne") == 0) return;
  throw Refusal{NO_SUCH_FORMAT, 5, "this build of the package reads and writes the library's own net files alone"};
}
net_bn ReadNetFormat_bn(const char* path, const char* format, environ_ns env) {
  if (format) RefuseFormat(format);
  const filespec_ns file = FileNamed_ns(path, env);
  const net_bn net = file ? ReadNet_bn(file, 0) : nullptr;
  FreeFileSpec_ns(file);
  return net;
}
net_bn ReadNetFormatText_bn(const char* text, long length, const char* format, const char* name, environ_ns env) {
  if (format) RefuseFormat(format);
  return ReadNetText_bn(text, length, name, env);
}
int WriteNetFormat_bn(net_bn net, const char* path, const char* format) {
  const char* extension = std::strrchr(path, '.');
  RefuseFormat(format ? format : extension ? extension + 1 : "");
  const filespec_ns file = FileNamed_ns(path, Env());
  if (file) WriteNet_bn(net, file);
  FreeFileSpec_ns(file);
  return 0;
}
long WriteNetFormatText_bn(net_bn net, const char* format, char* text, long size) {
  RefuseFormat(format);
  return WriteNetText_bn(net, text, size);
}
#endif

const char* OrNull(const Text& text) {
  return text.bytes.empty() ? nullptr : text.Z();
}

// A net that failed to become one of Python's is freed.
Net* Read(const std::function<net_bn()>& read) {
  std::unique_ptr<Net> net;
  AskLong([&] {
    if (net_bn made = read()) net = std::make_unique<Net>(made);
  });
  if (!net) throw Refusal{NO_SUCH_FORMAT, 5, "nothing was read"};
  return net.release();
}

nb::bytes WriteText(Net& net, const Text& format) {
  const char* z = format.Z();
  const std::vector<char> text = AskLong([&] {
    std::vector<char> written;
    const long size = WriteNetFormatText_bn(net.Get(), z, nullptr, 0);
    ClearErrors_ns(Env(), 4);  // the same warnings come again
    if (size <= 0) return written;
    written.resize(static_cast<std::size_t>(size));
    if (WriteNetFormatText_bn(net.Get(), z, written.data(), size) > 0) written.pop_back();
    return written;
  });
  return nb::bytes(text.data(), text.size());
}

}  // namespace

void BindFiles(nb::module_& module, NetClass& bound) {
  module.def("new_net", [](const Text& name) {
    const char* z = name.Z();
    return Read([=] { return NewNet_bn(z, Env()); });
  });
  module.def("read", [](const Text& path, const Text& format) {
    const char *zPath = path.Z(), *zFormat = OrNull(format);
    return Read([=] { return ReadNetFormat_bn(zPath, zFormat, Env()); });
  });
  module.def("read_text", [](nb::bytes text, const Text& format, const Text& name) {
    const char *zFormat = OrNull(format), *zName = OrNull(name);
    return Read(
        [&] { return ReadNetFormatText_bn(text.c_str(), static_cast<long>(text.size()), zFormat, zName, Env()); });
  });
  bound
      .def("save",
           [](Net& net, const Text& path, const Text& format) {
             const char *zPath = path.Z(), *zFormat = OrNull(format);
             AskLong([&] { WriteNetFormat_bn(net.Get(), zPath, zFormat); });
           })
      .def("write_text", WriteText);
}

}  // namespace binding
