// Beliefs of decision networks: a copy of the net in which decisions are like all other nodes, and act as their tables
// say; one that is made is as it was made, and where one has no table every choice is equally probable. It is made anew
// for every change of the net.

import { refuse } from "./errors.js";
import type { Net } from "./net.js";
import type { Node } from "./node.js";

const NATURE_NODE = 0;
const EVERY_STATE = -5;

export class PolicyNet {
  readonly net: Net;

  constructor(original: Net) {
    this.net = original.copy();
    const { core } = this.net;
    const { library } = core;
    for (const node of this.net.nodes) {
      if (node.kind === "utility") library.ask((call) => call["DeleteNode_bn"]!(node.pointer));
    }
    core.structureChanged();
    for (const node of this.net.nodes) {
      if (node.kind === "decision") this.makeChance(node);
    }
  }

  beliefs(node: Node): Float32Array {
    const copied = this.net.find(node.name);
    if (!copied || copied.numStates === 0) refuse(`node '${node.name}' has no beliefs`);
    return this.net.beliefs(copied);
  }

  private makeChance(node: Node): void {
    const { library } = this.net.core;
    const { finding } = node;
    if (finding?.kind === "state") chooseAlways(node, finding.state);
    const hasTable = node.table !== null;
    const even = new Float32Array(node.numStates).fill(1 / node.numStates);
    library.ask((call) => {
      call["SetNodeKind_bn"]!(node.pointer, NATURE_NODE);
      if (hasTable) return;
      library.withInts(everyRow(node), (row) =>
        library.withFloats(even, (probs) => call["SetNodeProbs_bn"]!(node.pointer, row, probs)),
      );
    });
  }
}

/** Gives a decision the table that has it choose the state whatever is known. */
export function chooseAlways(decision: Node, state: number): void {
  const { library } = decision.core;
  library.ask((call) => {
    call["DeleteNodeRelation_bn"]!(decision.pointer);
    library.withInts(everyRow(decision), (row) => call["SetNodeFuncValue_bn"]!(decision.pointer, row, state));
  });
}

/** What picks all rows of the node's table. */
function everyRow(node: Node): number[] {
  return node.parents.map(() => EVERY_STATE);
}
