#include "Session.h"

#include <charconv>

#include "Terminal.h"

Session::Session() : env_(NewBravicEnviron_bn()) {
  char message[MESG_LEN_ns] = "";
  if (InitBravic_bn(env_, message) < 0) throw Refusal(message);
  WatchInterrupts();
  SetProgressCallback_ns(ShowProgressBar, nullptr, env_);
}

Session::~Session() {
  char message[MESG_LEN_ns];
  EndProgressBar();
  CloseBravic_bn(env_, message);
}

bool Session::TakeMessages(std::vector<std::string>* messages) {
  EndProgressBar();
  bool failed = false;
  for (report_ns report = nullptr; (report = GetError_ns(env_, 4, report));) {
    const bool error = ErrorDanger_ns(report) >= 5;
    failed |= error;
    messages->emplace_back(error ? "" : "warning: ").append(ErrorMessage_ns(report));
  }
  ClearErrors_ns(env_, 6);
  return failed;
}

void Session::Check() {
  EndProgressBar();
  std::string error;
  for (report_ns report = nullptr; (report = GetError_ns(env_, 4, report));) {
    if (ErrorDanger_ns(report) < 5) {
      Complain("warning: " + std::string(ErrorMessage_ns(report)));
    } else if (error.empty()) {
      error = ErrorMessage_ns(report);
    }
  }
  ClearErrors_ns(env_, 6);
  if (!error.empty()) throw Refusal(error);
  if (Interrupted()) throw Refusal("interrupted");
}

File Session::Named(const std::string& path) {
  File file(FileNamed_ns(path.c_str(), env_));
  Check();
  return file;
}

Net Session::ReadAsFarAsPossible(const std::string& path) {
  return Net(ReadNet_bn(Named(path).get(), 0));
}

Net Session::Read(const std::string& path) {
  Net net = ReadAsFarAsPossible(path);
  Check();
  if (!net) throw Refusal("file '" + path + "' holds no net");
  return net;
}

void Session::Write(const Net& net, const std::string& path) {
  WriteNet_bn(net.get(), Named(path).get());
  Check();
}

void Session::Compile(const Net& net) {
  CompileNet_bn(net.get());
  Check();
}

std::vector<node_bn> Nodes(nodelist_bn list) {
  std::vector<node_bn> nodes;
  const int length = LengthNodeList_bn(list);
  for (int i = 0; i < length; ++i) nodes.push_back(NthNode_bn(list, i));
  return nodes;
}

NodeList MakeList(std::span<const node_bn> nodes, const Session& session) {
  NodeList list(NewNodeList_bn(static_cast<int>(nodes.size()), session.Environment()));
  for (std::size_t i = 0; i < nodes.size(); ++i) SetNthNode_bn(list.get(), static_cast<int>(i), nodes[i]);
  return list;
}

node_bn FindNode(const std::string& name, const Net& net) {
  node_bn node = name.empty() ? nullptr : NodeNamed_bn(name.c_str(), net.get());
  if (!node) throw Refusal("net '" + std::string(GetNetName_bn(net.get())) + "' has no node named '" + name + "'");
  return node;
}

statetype FindState(const std::string& name, node_bn node, Session& session) {
  const int numstates = GetNodeNumberStates_bn(node);
  for (statetype state = 0; state < numstates; ++state) {
    if (name == GetNodeStateName_bn(node, state)) return state;
  }
  const char* first = name.c_str() + (name.starts_with('#') ? 1 : 0);
  const char* last = name.c_str() + name.size();
  statetype state = -1;
  const auto [end, fault] = std::from_chars(first, last, state);
  if (fault == std::errc() && end == last && state >= 0 && state < numstates) return state;
  StateNamed_bn(name.c_str(), node);  // for the library's own words on it
  session.Check();
  throw Refusal("node '" + std::string(GetNodeName_bn(node)) + "' has no state '" + name + "'");
}

std::string StateText(node_bn node, statetype state) {
  std::string text = GetNodeStateName_bn(node, state);
  if (text.empty()) text.append("#").append(std::to_string(state));
  return text;
}

std::string TitleOf(const Net& net) {
  const std::string title = GetNetTitle_bn(net.get());
  return title.empty() ? GetNetName_bn(net.get()) : title;
}
