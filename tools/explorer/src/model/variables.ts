// The nodes of a net as the page needs them: read once, since nothing here changes a net but its findings.

import type { Net, Node, NodeKind } from "bravic";

export interface Variable {
  readonly index: number; // in net.nodes
  readonly node: Node;
  readonly name: string;
  readonly title: string; // as it is shown
  readonly kind: NodeKind;
  readonly states: readonly string[]; // as they are shown
  readonly parents: readonly number[];
  readonly children: readonly number[];
  readonly isContinuous: boolean; // known by a value
}

/** "0.5 to 2" for an interval of a continuous node that has no name of its own. */
function stateTitles(node: Node): string[] {
  const { levels } = node;
  return node.stateLabels.map((label, state) => {
    if (!/^#?\d+$/.test(label) || !levels) return label;
    if (node.isDiscrete) return String(levels[state]);
    return `${levels[state]} to ${levels[state + 1]}`;
  });
}

export function readVariables(net: Net): Variable[] {
  const places = new Map(net.nodes.map((node, index) => [node, index]));
  const indices = (nodes: readonly (Node | null)[]): number[] =>
    nodes.flatMap((node) => (node && places.has(node) ? [places.get(node)!] : []));
  return net.nodes.map((node, index) => ({
    index,
    node,
    name: node.name,
    title: node.title || node.label,
    kind: node.kind,
    states: stateTitles(node),
    parents: indices(node.parents),
    children: indices(node.children),
    isContinuous: !node.isDiscrete,
  }));
}
