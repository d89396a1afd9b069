// Net files.
#include "Bn/files/NetFile.h"
#include "Bravic/NetCall.h"

using namespace bravic;

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
