#include "support/net_fixture.h"

#include "Bn/files/NetWriter.h"

namespace bravic::testing {

node_bn NetTest::New(const char* name, int numstates, std::initializer_list<node_bn> parents) {
  node_bn node = NewNode_bn(name, numstates, net.get());
  for (node_bn parent : parents) AddLink_bn(parent, node);
  return node;
}

nodelist_bn NetTest::List(const std::vector<node_bn>& nodes) {
  nodelist_bn list = NewNodeList_bn(int(nodes.size()), env);
  for (std::size_t i = 0; i < nodes.size(); ++i) SetNthNode_bn(list, int(i), nodes[i]);
  return list;
}

std::string NetTest::Written(net_bn which) {
  OutputChannel out;
  out.OpenMemory();
  Post(PrepareNet(which));
  PrintNet(which, printOptions, out);
  out.Close();
  return std::string(out.Text());
}

Net NetTest::ReadFrom(const std::string& path, int options) {
  filespec_ns file = FileNamed_ns(path.c_str(), env);
  Net read(ReadNet_bn(file, options));
  FreeFileSpec_ns(file);
  return read;
}

Net NetTest::Read(const std::string& text, int options) {
  WriteWhole(directory.Path("x.dne"), text);
  return ReadFrom(directory.Path("x.dne"), options);
}

std::string Names(const std::vector<node_bn>& nodes) {
  std::string names;
  for (node_bn node : nodes) names += std::string(names.empty() ? "" : " ") + GetNodeName_bn(node);
  return names;
}

}  // namespace bravic::testing
