// A net as Python holds it. Its nodes are numbers, which are given once and never again: a number whose node was
// deleted, or whose addition was taken back, stays without a node, and using it is refused. So no handle can dangle,
// whatever happens to the library's own records.
#pragma once

#include <unordered_map>
#include <vector>

#include "Arrays.h"
#include "Library.h"

namespace binding {

using Key = long long;
constexpr Key NO_NODE = -1;  // none, or a placeholder

class Net {
 public:
  explicit Net(net_bn net);
  ~Net();
  Net(const Net&) = delete;
  Net& operator=(const Net&) = delete;
  void Free();
  bool IsFree() const { return !net_; }

  // All of these within a call; they throw a Refusal where net or node are gone.
  net_bn Get() const;
  node_bn At(Key key) const;
  Key KeyOf(node_bn node);        // of a node of this net
  Key KeyOfParent(node_bn node);  // NO_NODE for a placeholder
  std::vector<Key> KeysOf(nodelist_bn nodes);
  void Forget(Key key);
  void ForgetThoseGone();  // after what may have taken nodes out of the net

 private:
  net_bn net_;
  std::vector<node_bn> nodes_;  // by key; NULL for those that are gone
  std::unordered_map<node_bn, Key> keys_;
};

// A list of nodes that a question takes, within a call.
class NodeList {
 public:
  NodeList(const Net& net, const std::vector<Key>& keys);
  explicit NodeList(nodelist_bn answered) : list_(answered) {}
  ~NodeList() { FreeNodeList_bn(list_); }
  NodeList(const NodeList&) = delete;
  NodeList& operator=(const NodeList&) = delete;
  operator nodelist_bn() const { return list_; }

 private:
  nodelist_bn list_;
};

// Whether a call within this one has left an error.
inline bool Failed() {
  return GetError_ns(Env(), 5, nullptr) != nullptr;
}

// What is done while it lives is one step for undo; all of it is taken back where some of it failed.
class Change {
 public:
  explicit Change(const Net& net) : net_(net.Get()) { BeginChanges_bn(net_); }
  ~Change() { EndChanges_bn(net_, !Failed()); }
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

 private:
  net_bn net_;
};

// Asks what needs a compiled net, which it stays.
template <class Question>
auto AskCompiled(Net& net, Question&& question, int expected = 0) {
  return AskLong(
      [&] {
        CompileNet_bn(net.Get());
        return question();
      },
      expected);
}

double NumberOfRows(node_bn node);
// The configurations of a node's parents, in the order of its rows.
class Rows {
 public:
  explicit Rows(node_bn node);
  const statetype* States() const { return states_.data(); }
  bool Next();

 private:
  std::vector<statetype> states_, sizes_;
};

using NetClass = nb::class_<Net>;
void BindModel(NetClass& net);
void BindTables(NetClass& net);
void BindFindings(NetClass& net);
void BindQuestions(NetClass& net);
void BindCases(nb::module_& module, NetClass& net);
void BindColumns(nb::module_& module);
void BindLearning(nb::module_& module, NetClass& net);
void BindFiles(nb::module_& module, NetClass& net);

}  // namespace binding
