// Reads arbitrary bytes as a net file; what comes of it is written, read again and freed. For libFuzzer:
// build with -DBRAVIC_FUZZ=ON under clang and run with -dict=fuzz/net.dict and a corpus of small nets.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bravic.h"

namespace {

environ_ns env = nullptr;
std::string input, output;

void Start() {
  char message[MESG_LEN_ns];
  env = NewBravicEnviron_bn();
  if (InitBravic_bn(env, message) < 0) std::abort();
  const std::string directory = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
  const std::string stem = directory + "/bravic_fuzz." + std::to_string(getpid());
  input = stem + ".in.dne";
  output = stem + ".out.dne";
}

net_bn Read(const std::string& name, int options) {
  filespec_ns file = FileNamed_ns(name.c_str(), env);
  net_bn net = ReadNet_bn(file, options);
  FreeFileSpec_ns(file);
  return net;
}

void Write(net_bn net, const std::string& name) {
  filespec_ns file = FileNamed_ns(name.c_str(), env);
  WriteNet_bn(net, file);
  FreeFileSpec_ns(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (!env) Start();
  std::FILE* file = std::fopen(input.c_str(), "wb");
  if (!file) std::abort();
  std::fwrite(data, 1, size, file);
  std::fclose(file);
  if (net_bn net = Read(input, size % 2 != 0)) {
    ClearErrors_ns(env, 6);
    Write(net, output);
    FreeNet_bn(net);
    FreeNet_bn(Read(output, 0));
    std::remove(output.c_str());
  }
  ClearErrors_ns(env, 6);
  return 0;
}
