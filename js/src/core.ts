// A net as the package holds it: the library's pointer, and one object for each node that was asked for, which stays the
// same as long as the node is there. What goes loses its pointer, so that no handle can dangle.

import { NET_GONE, NODE_GONE, OTHER_NET, refuse } from "./errors.js";
import type { Library } from "./library.js";
import type { Net } from "./net.js";
import { Node } from "./node.js";
import type { NodeRef } from "./types.js";

/** Frees nets that were let go of. */
const freed = new FinalizationRegistry<{ library: Library; pointer: number }>(({ library, pointer }) =>
  library.freeNet(pointer),
);

export class Core {
  private readonly byPointer = new Map<number, Node>();
  private listed: readonly Node[] | null = null;
  private members = new Set<Node>();

  constructor(
    readonly library: Library,
    private address: number,
    readonly net: Net,
  ) {
    freed.register(net, { library, pointer: address }, this);
  }

  get isFree(): boolean {
    return this.address === 0;
  }

  /** The net's pointer. */
  get pointer(): number {
    return this.address || refuse("the net was freed", NET_GONE);
  }

  free(): void {
    if (this.isFree) return;
    freed.unregister(this);
    this.library.ask((call) => call["FreeNet_bn"]!(this.address));
    this.address = 0;
    for (const node of this.byPointer.values()) node.pointer = 0;
    this.byPointer.clear();
    this.listed = null;
  }

  // ---- Nodes ----

  /** All nodes, in the library's order. */
  get nodes(): readonly Node[] {
    if (!this.listed) {
      this.listed = Object.freeze(this.library.ask((call) => this.nodesOf(call["GetNetNodes_bn"]!(this.pointer))));
      this.members = new Set(this.listed);
    }
    return this.listed;
  }

  /** False for placeholders, which keep the place of parents that were deleted. */
  has(node: Node): boolean {
    return this.nodes.length > 0 && this.members.has(node);
  }

  /** The object for a node of this net. */
  node(pointer: number): Node {
    let node = this.byPointer.get(pointer);
    if (!node) this.byPointer.set(pointer, (node = new Node(this, pointer)));
    return node;
  }

  nodesOf(list: number): Node[] {
    const { call } = this.library;
    const count = call["LengthNodeList_bn"]!(list);
    return Array.from({ length: count }, (_, i) => this.node(call["NthNode_bn"]!(list, i)));
  }

  find(name: string): Node | null {
    const { library } = this;
    const pointer = library.ask((call) => library.withText(name, (text) => call["FindNode_bn"]!(text, this.pointer)));
    return pointer ? this.node(pointer) : null;
  }

  /** The node meant, which is alive and of this net. */
  get(ref: NodeRef): Node {
    if (typeof ref === "string") {
      return this.find(ref) ?? refuse(`net '${this.net.name}' has no node '${ref}'`);
    }
    if (ref.core !== this) refuse(`node '${ref.name}' is of another net than '${this.net.name}'`, OTHER_NET);
    if (!ref.pointer) refuse(this.isFree ? "the net was freed" : "the node is no longer in its net", NODE_GONE);
    return ref;
  }

  /** Runs something with a list of nodes for the library. */
  withList<T>(nodes: readonly Node[], what: (list: number) => T): T {
    const { library } = this;
    const { call } = library;
    const list = call["NewNodeList_bn"]!(nodes.length, library.env);
    nodes.forEach((node, i) => call["SetNthNode_bn"]!(list, i, node.pointer));
    try {
      return what(list);
    } finally {
      call["FreeNodeList_bn"]!(list);
    }
  }

  /** After what may have added nodes, taken some away or put them into another order. */
  structureChanged(): void {
    this.listed = null;
    const present = new Set<number>();
    this.library.ask((call) => {
      const list = call["GetNetNodes_bn"]!(this.pointer);
      const count = call["LengthNodeList_bn"]!(list);
      for (let i = 0; i < count; ++i) present.add(call["NthNode_bn"]!(list, i));
    });
    for (const [pointer, node] of this.byPointer) {
      if (present.has(pointer)) continue;
      node.pointer = 0;
      this.byPointer.delete(pointer);
    }
  }
}
