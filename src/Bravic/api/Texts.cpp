// Texts of programs around the library, and finding by spelling.
#include "Bn/model/Texts.h"

#include "Basic/Text.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

bool CheckSpelling(const char* spelling) {
  if (!ApiCall::Basic() || spelling) return true;
  Report(NULL_NAME);
  return false;
}

}  // namespace

int BRAVIC_CALL SetNetText_bn(net_bn net, const char* key, const char* text) {
  NetCall call("SetNetText_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNet(net) || !call.CheckNameGiven(key)) return -1;
  return SetText(net, key, text);
}

const char* BRAVIC_CALL GetNetText_bn(net_bn net, const char* key) {
  NetCall call("GetNetText_bn");
  if (!call.HasReserve() || !call.CheckNet(net) || !call.CheckNameGiven(key)) return NO_TEXT;
  return FindText(net->texts, key);
}

int BRAVIC_CALL SetNodeText_bn(node_bn node, const char* key, const char* text) {
  NetCall call("SetNodeText_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node) || !call.CheckNameGiven(key)) return -1;
  return SetText(node, key, text);
}

const char* BRAVIC_CALL GetNodeText_bn(node_bn node, const char* key) {
  NetCall call("GetNodeText_bn");
  if (!call.HasReserve() || !call.CheckNode(node) || !call.CheckNameGiven(key)) return NO_TEXT;
  return FindText(node->texts, key);
}

node_bn BRAVIC_CALL FindNode_bn(const char* spelling, net_bn net) {
  NetCall call("FindNode_bn");
  if (!call.HasReserve() || !CheckSpelling(spelling) || !call.CheckNet(net)) return nullptr;
  return FindNodeSpelled(net, spelling);
}

statetype BRAVIC_CALL FindState_bn(const char* spelling, node_bn node) {
  NetCall call("FindState_bn");
  if (!call.HasReserve() || !CheckSpelling(spelling) || !call.CheckNode(node)) return UNDEF_STATE;
  return FindStateSpelled(*node, spelling);
}
