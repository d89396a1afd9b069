// Net files, and nets as texts in memory.
#include "Bn/files/NetFile.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

bool CheckLength(const char* argument, long bytes) {
  if (!ApiCall::Basic() || bytes >= 0) return true;
  Report(NEGATIVE_LENGTH_OF_NET_TEXT, argument, bytes);
  return false;
}

}  // namespace

void BRAVIC_CALL WriteNet_bn(net_bn net, filespec_ns file) {
  NetCall call("WriteNet_bn");
  if (!call.CheckNet(net) || !call.CheckFile(file)) return;
  WriteNet(net, file);
}

net_bn BRAVIC_CALL ReadNet_bn(filespec_ns file, int options) {
  NetCall call("ReadNet_bn");
  if (!call.HasReserve() || !call.CheckFile(file)) return nullptr;
  return ReadNet(file, options);
}

net_bn BRAVIC_CALL ReadNetText_bn(const char* text, long length, const char* name, environ_ns env) {
  ApiCall call("ReadNetText_bn");
  if (!call.HasReserve()) return nullptr;
  if (ApiCall::Basic() && !text) {
    Report(NULL_NET_TEXT);
    return nullptr;
  }
  if (!CheckLength("length", length) || !call.CheckEnviron(env)) return nullptr;
  return ReadNetText({text, static_cast<std::size_t>(length)}, name);
}

long BRAVIC_CALL WriteNetText_bn(net_bn net, char* text, long size) {
  NetCall call("WriteNetText_bn");
  if (!call.HasReserve() || !call.CheckNet(net) || (text && !CheckLength("size", size))) return -1;
  return WriteNetText(net, {text, text ? static_cast<std::size_t>(size) : 0});
}
