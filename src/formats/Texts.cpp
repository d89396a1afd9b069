#include "formats/Texts.h"

#include <cmath>

#include "formats/NumberText.h"

namespace formats {
namespace {

constexpr char SPELLING[] = "label", POSITION[] = "position";

std::string StateKey(int state) {
  return "state " + std::to_string(state);
}

}  // namespace

void KeepSpelling(net_bn net, const std::string& spelling) {
  SetNetText_bn(net, SPELLING, spelling.c_str());
}

void KeepSpelling(node_bn node, const std::string& spelling) {
  SetNodeText_bn(node, SPELLING, spelling.c_str());
}

void KeepStateSpelling(node_bn node, int state, const std::string& spelling) {
  SetNodeText_bn(node, StateKey(state).c_str(), spelling.c_str());
}

void KeepPosition(node_bn node, double x, double y) {
  std::string text;
  AppendDouble(x, &text);
  text += ' ';
  AppendDouble(y, &text);
  SetNodeText_bn(node, POSITION, text.c_str());
}

std::string KeptSpelling(net_bn net) {
  return GetNetText_bn(net, SPELLING);
}

std::string KeptSpelling(node_bn node) {
  return GetNodeText_bn(node, SPELLING);
}

std::string KeptStateSpelling(node_bn node, int state) {
  return GetNodeText_bn(node, StateKey(state).c_str());
}

bool KeptPosition(node_bn node, double* x, double* y) {
  const std::string text = GetNodeText_bn(node, POSITION);
  const std::size_t blank = text.find(' ');
  if (blank == std::string::npos) return false;
  const auto first = ReadNumber(text.substr(0, blank)), second = ReadNumber(text.substr(blank + 1));
  if (!first || !second || !std::isfinite(*first) || !std::isfinite(*second)) return false;
  *x = *first;
  *y = *second;
  return true;
}

}  // namespace formats
