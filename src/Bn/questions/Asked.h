// What questions have in common: the nodes that a host names, and the engine, which is asked with other findings than
// the net's and afterwards has these again.
#pragma once

#include <functional>

#include "Bn/compiled/CompiledNet.h"
#include "Bn/model/Lists.h"

namespace bravic {

// Whether the nodes of all lists are of one net, which goes to *net (NULL where there are none), and none of them a
// placeholder; else an error is posted.
bool FindNetAsked(std::initializer_list<const nodelist_rec*> lists, net_bn* net);
// Whether all of the nodes are of that node's net.
bool AreOfNet(const nodelist_rec& nodes, const bnode& node);
// Whether the node has a finding that bears on beliefs.
bool HasEngineFinding(const bnode& node);
// Whether the net is compiled, and whether the nodes have beliefs; else an error is posted.
bool CheckCompiled(const bnet& net);
bool CheckHaveBeliefs(std::span<const node_bn> nodes);

// The engine of a compiled net for as long as one question takes. Its findings are the net's to begin with; sums are
// what is asked for, whatever the net's mode. What is changed goes back at the end.
class EngineLoan {
 public:
  // The net is compiled, and its findings need not be possible.
  explicit EngineLoan(net_bn net);
  ~EngineLoan();
  EngineLoan(const EngineLoan&) = delete;
  EngineLoan& operator=(const EngineLoan&) = delete;

  engine::Inference* operator->() const { return net_->compiled->inference.get(); }
  Vector<node_bn> NodesWithFindings() const;
  int NumNodes() const { return net_->compiled->nodes.size(); }
  void SetState(const bnode& node, statetype state);  // in place of the node's finding
  bool AddState(const bnode& node, statetype state);  // beside it; false, with nothing changed, where it excludes that
  void ClearFinding(const bnode& node);
  void RestoreFinding(const bnode& node);  // that of the net
  // A question that passes so many times over the tree, about. False with an error posted, unless findings contradict
  // each other, which is an answer.
  bool Ask(int sweeps, const std::function<engine::Status()>& question, engine::Status* answer);
  // The same, of findings that are possible.
  bool Ask(int sweeps, const std::function<engine::Status()>& question);

 private:
  net_bn net_;
  unsigned long long stamp_;  // of the engine with the net's findings
};

}  // namespace bravic
