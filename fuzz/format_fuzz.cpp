// Reads arbitrary bytes as a file of another program's format, FORMAT, or of the one that the content tells where that
// is not defined. What comes of it is sound, and its format takes it and gives it back, byte for byte.
#include "bravic_formats.h"
#include "harness.h"

namespace bravic::fuzz {
namespace {

#ifdef FORMAT
constexpr const char* READ_AS = FORMAT;
#else
constexpr const char* READ_AS = nullptr;
#endif

Net ReadText(const std::string& text) {
  const Pace pace(text.size());
  return Net(ReadNetFormatText_bn(text.data(), static_cast<long>(text.size()), READ_AS, "input", Environment()));
}

std::string WriteText(const Net& net, const char* format) {
  const long size = WriteNetFormatText_bn(net.get(), format, nullptr, 0);
  if (size <= 0) Fail("not written", Errors());
  std::string text(static_cast<std::size_t>(size), '\0');
  WriteNetFormatText_bn(net.get(), format, text.data(), size);
  text.pop_back();
  ForgetErrors();
  return text;
}

void CheckFormat(const Net& net, const char* format) {
  const std::string first = WriteText(net, format);
  const Net again = ReadText(first);
  if (!again) Fail("not read again", Errors() + first);
  ForgetErrors();
  CheckSound(again);
  const std::string second = WriteText(again, format);
  if (second != first) Fail("other bytes", Difference(second, first));
}

}  // namespace
}  // namespace bravic::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace bravic::fuzz;
  const Balance balance;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const Net net = ReadText(text);
  if (!net) {
    if (Errors().empty()) Fail("no net and no error", text);
    ForgetErrors();
    return 0;
  }
  ForgetErrors();
  CheckSound(net);
#ifdef FORMAT
  CheckFormat(net, FORMAT);
#else
  for (const char* format : {"xmlbif", "xdsl"}) CheckFormat(net, format);
#endif
  return 0;
}
