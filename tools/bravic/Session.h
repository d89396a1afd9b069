// The library as the program sees it: one environment for the run, handles that free themselves, and errors turned
// into refusals that carry the library's own messages. An interrupt (Ctrl-C) halts the library's long operations.
#pragma once

#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "bravic.h"

// What ends a command with exit code 1: the message is printed after "bravic: ".
struct Refusal : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct FreeHandle {
  void operator()(net_bn net) const { FreeNet_bn(net); }
  void operator()(nodelist_bn list) const { FreeNodeList_bn(list); }
  void operator()(filespec_ns file) const { FreeFileSpec_ns(file); }
};
using Net = std::unique_ptr<bnet, FreeHandle>;
using NodeList = std::unique_ptr<nodelist_rec, FreeHandle>;
using File = std::unique_ptr<filespec_rec, FreeHandle>;

class Session {
 public:
  Session();  // throws Refusal when the library does not start
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  environ_ns Environment() const { return env_; }

  // Prints the pending warnings, and throws a Refusal with the first pending error when there is one.
  void Check();
  // All pending messages, warnings marked as such, oldest first; they are cleared. Answers whether one was an error.
  bool TakeMessages(std::vector<std::string>* messages);

  File Named(const std::string& path);
  // As far as it can be read: check the messages.
  Net ReadAsFarAsPossible(const std::string& path);
  Net Read(const std::string& path);
  void Write(const Net& net, const std::string& path);
  void Compile(const Net& net);

 private:
  environ_ns env_;
};

// A list's entries; borrowed from the list.
std::vector<node_bn> Nodes(nodelist_bn list);
inline std::vector<node_bn> Nodes(const Net& net) {
  return Nodes(GetNetNodes_bn(net.get()));
}
NodeList MakeList(std::span<const node_bn> nodes, const Session& session);
node_bn FindNode(const std::string& name, const Net& net);  // throws when there is none
// By name, or as "#2" or a bare number where the node has no state of that name.
statetype FindState(const std::string& name, node_bn node, Session& session);
// The state's name, or "#2" for a state without one.
std::string StateText(node_bn node, statetype state);
// The title where there is one, else the name.
std::string TitleOf(const Net& net);
