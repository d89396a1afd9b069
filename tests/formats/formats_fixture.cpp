#include "formats/formats_fixture.h"

namespace bravic::testing {

Net FormatsTest::ReadText(const char* format, const std::string& text) {
  return Net(ReadNetFormatText_bn(text.data(), static_cast<long>(text.size()), format, "text", env));
}

std::string FormatsTest::Text(const Net& which, const char* format) {
  const long size = WriteNetFormatText_bn(which.get(), format, nullptr, 0);
  if (size < 0) return "";
  std::string text(size, '\0');
  EXPECT_EQ(WriteNetFormatText_bn(which.get(), format, text.data(), size - 1), size);
  EXPECT_EQ(text[0], '\0');
  WriteNetFormatText_bn(which.get(), format, text.data(), size);
  text.pop_back();
  return text;
}

std::string FormatsTest::States(const Net& which, const char* name) {
  const node_bn node = Named(which, name);
  std::string states;
  for (int i = 0; i < GetNodeNumberStates_bn(node); ++i)
    states += (i ? " " : "") + std::string(GetNodeStateName_bn(node, i));
  return states;
}

std::string FormatsTest::Table(const Net& which, const char* name) {
  const node_bn node = Named(which, name);
  const nodelist_bn parents = GetNodeParents_bn(node);
  std::vector<statetype> states(LengthNodeList_bn(parents) + 1, 0);
  std::ostringstream table;
  for (;;) {
    if (GetNodeKind_bn(node) == UTILITY_NODE) {
      table << GetNodeFuncValue_bn(node, states.data());
    } else {
      const probtype* const probs = GetNodeProbs_bn(node, states.data());
      for (int i = 0; i < GetNodeNumberStates_bn(node); ++i) table << (i ? " " : "") << probs[i];
    }
    int i = LengthNodeList_bn(parents) - 1;
    for (; i >= 0 && ++states[i] == GetNodeNumberStates_bn(NthNode_bn(parents, i)); --i) states[i] = 0;
    if (i < 0) return table.str();
    table << " | ";
  }
}

}  // namespace bravic::testing
