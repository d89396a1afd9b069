// Reads arbitrary bytes as a net file. What comes of it is sound, and comes back from a file of its own, byte for byte.
#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace bravic::fuzz;
  const Balance balance;
  const std::string path = Path("input.dne");
  bravic::testing::WriteWhole(path, {reinterpret_cast<const char*>(data), size});
  const File file(path);
  Net net;
  {
    const Pace pace(size);
    net.reset(ReadNet_bn(file.get(), size % 2 != 0));
  }
  if (net) {
    ForgetErrors();
    CheckSound(net);
    CheckSaving(net);
  }
  return 0;
}
