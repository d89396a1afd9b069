#include "Bn/questions/JointBeliefs.h"

#include "Bn/compiled/Beliefs.h"
#include "Bn/questions/Asked.h"

namespace bravic {

bool JointBeliefs(const nodelist_rec& nodes, double* probs) {
  net_bn net;
  if (!FindNetAsked({&nodes}, &net)) return false;
  if (!net) {
    *probs = 1;
    return true;
  }
  if (!CheckCompiled(*net) || !CheckHaveBeliefs(Entries(nodes))) return false;
  Vector<int> asked;
  double size = 1;
  for (const bnode* node : Entries(nodes)) {
    asked.push_back(node->compiledIndex);
    size *= node->numstates;
  }
  if (size > engine::MAX_TABLE_ENTRIES) {
    Report(TOO_MANY_JOINT_BELIEFS, nodes.num, size, engine::MAX_TABLE_ENTRIES);
    return false;
  }
  if (UpdateBeliefs(net, Account::None) != Update::Done) return false;
  EngineLoan engine(net);
  double entries = 0;
  bool hasMemory = true;
  const bool isAnswered = engine.Ask(1, [&] {
    const engine::Status status = engine->Joint(asked, probs, &entries);
    hasMemory = status != engine::Status::NoMemory;
    return hasMemory ? status : engine::Status::Done;
  });
  if (!hasMemory) Report(NO_MEMORY_FOR_JOINT, size, entries + size, (entries + size) * sizeof(double));
  return isAnswered && hasMemory;
}

}  // namespace bravic
