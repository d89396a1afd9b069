// A node of a net: what it is, and its links, table, finding and beliefs.

import type { Core } from "./core.js";
import { NO_SUCH_STATE, NODE_GONE, refuse } from "./errors.js";
import type { Net } from "./net.js";
import type { Found, Likelihood, NodeKind, State, Table } from "./types.js";

const KINDS: readonly NodeKind[] = ["nature", "constant", "decision", "utility", "unknown", "adversary"];
const FOUND_LIKELIHOOD = -6;
const FOUND_NOTHING = -8;
/** What is kept of a value of a function that was not given yet lies below. */
const LEAST_VALUE = -3.39e38;

/**
 * A variable of a net. Ask the net for it: `net.node("Rain")`. A node that was deleted, or whose addition was undone, is
 * refused by everything with a BravicError; so is every node of a net that was freed.
 */
export class Node {
  /** @internal */
  constructor(
    /** @internal */ readonly core: Core,
    /** @internal 0 once it is gone. */ public pointer: number,
  ) {}

  /** The net that the node belongs to. */
  get net(): Net {
    return this.core.net;
  }

  /** False once it was deleted, its addition undone, or the net freed. */
  get isAlive(): boolean {
    return this.pointer !== 0;
  }

  // ---- What it is ----

  /** Up to 30 letters, digits and underscores, unlike those of the net's other nodes. */
  get name(): string {
    return this.readText("GetNodeName_bn");
  }

  /** The name as another program's file spells it; the name where that is the same. */
  get label(): string {
    return this.text("label") || this.name;
  }

  /** A name for people; any text. */
  get title(): string {
    return this.readText("GetNodeTitle_bn");
  }

  set title(title: string) {
    this.writeText("SetNodeTitle_bn", title);
  }

  get comment(): string {
    return this.readText("GetNodeComment_bn");
  }

  set comment(comment: string) {
    this.writeText("SetNodeComment_bn", comment);
  }

  get kind(): NodeKind {
    return KINDS[this.ask("GetNodeKind_bn")] ?? "unknown";
  }

  /** False for a continuous node, with intervals for states or without. */
  get isDiscrete(): boolean {
    return this.ask("GetNodeDiscrete_bn") === 1;
  }

  /** Where it stands in a picture, in points, if anybody has said so. */
  get position(): { readonly x: number; readonly y: number } | null {
    const [x, y, ...more] = this.text("position").split(" ").map(Number.parseFloat);
    return Number.isFinite(x) && Number.isFinite(y) && more.length === 0 ? { x: x!, y: y! } : null;
  }

  set position(position: { readonly x: number; readonly y: number } | null) {
    this.setText("position", position ? `${position.x} ${position.y}` : "");
  }

  /** A text that some program keeps at the node; "" where there is none. */
  text(key: string): string {
    const { library } = this.core;
    return library.ask((call) =>
      library.withText(key, (at) => library.text(call["GetNodeText_bn"]!(this.checked, at))),
    );
  }

  /** Keeps a text at the node, which is saved with the net; "" removes it. */
  setText(key: string, text: string): void {
    const { library } = this.core;
    library.ask((call) =>
      library.withText(key, (at) =>
        library.withText(text, (value) => call["SetNodeText_bn"]!(this.checked, at, value)),
      ),
    );
  }

  // ---- States ----

  get numStates(): number {
    return this.ask("GetNodeNumberStates_bn");
  }

  /** The names of the states; a state without a name has its number. */
  get states(): readonly string[] {
    const { library } = this.core;
    return library.ask((call) =>
      this.eachState((state) => library.text(call["GetNodeStateName_bn"]!(this.checked, state)) || String(state)),
    );
  }

  /** The states as another program's file spells them. */
  get stateLabels(): readonly string[] {
    return this.states.map((name, state) => this.text(`state ${state}`) || name);
  }

  /** The numbers that states stand for; of a continuous node the bounds of its intervals, one more; null without any. */
  get levels(): readonly number[] | null {
    const { library } = this.core;
    return library.ask((call) => {
      const numStates = call["GetNodeNumberStates_bn"]!(this.checked);
      const count = numStates > 0 && !call["GetNodeDiscrete_bn"]!(this.pointer) ? numStates + 1 : numStates;
      const levels: number[] = [];
      for (let i = 0; i < count; ++i) {
        const level = call["GetNodeLevel_bn"]!(this.pointer, i);
        if (level === library.undefined) return null;
        levels.push(library.infinite(level));
      }
      return count > 0 ? levels : null;
    });
  }

  /** The number of a state; a BravicError where there is none such. */
  state(state: State): number {
    const { library } = this.core;
    if (typeof state === "string") {
      const number = library.ask((call) =>
        library.withText(state, (text) => call["FindState_bn"]!(text, this.checked)),
      );
      if (number >= 0) return number;
      const unnamed = this.states.indexOf(state);
      if (unnamed >= 0) return unnamed;
      refuse(`node '${this.name}' has no state '${state}'; there are ${this.states.join(", ")}`, NO_SUCH_STATE);
    }
    if (Number.isInteger(state) && state >= 0 && state < this.numStates) return state;
    refuse(`node '${this.name}' has no state ${state}: it has ${this.numStates}, from 0`, NO_SUCH_STATE);
  }

  // ---- Links ----

  /** The nodes that this one depends on, in the order of its table; null keeps the place of one that was deleted. */
  get parents(): readonly (Node | null)[] {
    return this.list("GetNodeParents_bn").map((node) => (this.core.has(node) ? node : null));
  }

  /** The nodes that depend on this one. */
  get children(): readonly Node[] {
    return this.list("GetNodeChildren_bn");
  }

  /** The nodes that separate this one from all others: parents, children and their other parents. */
  get blanket(): readonly Node[] {
    return this.core.library.ask((call) => {
      const list = call["MarkovBlanket_bn"]!(this.checked);
      const nodes = this.core.nodesOf(list);
      call["FreeNodeList_bn"]!(list);
      return nodes;
    });
  }

  // ---- Table ----

  /** The table, a copy; null where there is none. */
  get table(): Table | null {
    const { library } = this.core;
    return library.ask((call) => {
      if (!call["HasRelation_bn"]!(this.checked)) return null;
      const list = call["GetNodeParents_bn"]!(this.pointer);
      const sizes = Array.from({ length: call["LengthNodeList_bn"]!(list) }, (_, i) =>
        call["GetNodeNumberStates_bn"]!(call["NthNode_bn"]!(list, i)),
      );
      const kind = this.kind;
      const numStates = this.numStates;
      return kind === "decision" || kind === "utility" || numStates === 0
        ? this.readFunction(sizes)
        : this.readProbabilities(sizes, numStates);
    });
  }

  /** Whether the state follows from the parents' states. */
  get isDeterministic(): boolean {
    return this.ask("IsNodeDeterministic_bn") === 1;
  }

  private readProbabilities(sizes: readonly number[], numStates: number): Table | null {
    const { library } = this.core;
    const values = new Float32Array(sizes.reduce((product, size) => product * size, numStates));
    let isWhole = true;
    this.eachRow(sizes, (row, states) => {
      const probs = library.call["GetNodeProbs_bn"]!(this.pointer, states);
      if (probs) values.set(library.floats(probs, numStates), row * numStates);
      else isWhole = false;
    });
    return isWhole ? { kind: "probabilities", shape: [...sizes, numStates], values } : null;
  }

  private readFunction(sizes: readonly number[]): Table | null {
    const { library } = this.core;
    const least = this.isDiscrete ? 0 : LEAST_VALUE;
    const values = new Float64Array(sizes.reduce((product, size) => product * size, 1)).fill(NaN);
    let isThere = false;
    this.eachRow(sizes, (row, states) => {
      const value = library.call["GetNodeFuncValue_bn"]!(this.pointer, states);
      if (value === library.undefined || (value < least && value !== -library.infinity)) return;
      values[row] = library.infinite(value);
      isThere = true;
    });
    return isThere ? { kind: "function", shape: [...sizes], values } : null;
  }

  /** Of each row of the table its number, and where the parents' states stand that pick it. */
  private eachRow(sizes: readonly number[], what: (row: number, states: number) => void): void {
    const { library } = this.core;
    const numRows = sizes.reduce((product, size) => product * size, 1);
    const current = sizes.map(() => 0);
    library.within(4 * sizes.length, (states) => {
      for (let row = 0; row < numRows; ++row) {
        library.ints(states, sizes.length).set(current);
        what(row, states);
        for (let i = sizes.length - 1; i >= 0 && ++current[i]! === sizes[i]; --i) current[i] = 0;
      }
    });
  }

  // ---- Findings and beliefs ----

  /** What was found out about the node; null for nothing. */
  get finding(): Found | null {
    if (this.kind === "utility") return null;
    const { library } = this.core;
    return library.ask((call) => {
      const code = this.numStates > 0 ? call["GetNodeFinding_bn"]!(this.pointer) : FOUND_NOTHING;
      if (!call["GetNodeDiscrete_bn"]!(this.pointer)) {
        const value = call["GetNodeValue_bn"]!(this.pointer);
        if (value !== library.undefined) return { kind: "value", value, state: code >= 0 ? code : null };
      }
      if (code >= 0) return { kind: "state", state: code };
      const likelihood = this.numStates > 0 ? Array.from(this.likelihood) : [];
      // Equal weights of other than 1 are a finding, too, which changes the probability of all.
      if (code === FOUND_NOTHING && (likelihood[0] ?? 1) === 1) return null;
      if (code === FOUND_NOTHING || code === FOUND_LIKELIHOOD) return { kind: "likelihood", likelihood };
      return { kind: "not", excluded: likelihood.flatMap((weight, state) => (weight === 0 ? [state] : [])) };
    });
  }

  /** How probable what was found is in each state; all 1 where nothing was. */
  get likelihood(): Float32Array {
    const { library } = this.core;
    return library.ask((call) =>
      library.floats(call["GetNodeLikelihood_bn"]!(this.checked), this.numStates).slice(),
    );
  }

  /** The probabilities of the states given all findings. */
  get beliefs(): Float32Array {
    return this.net.beliefs(this);
  }

  // ---- Ways in ----

  private get checked(): number {
    return this.core.get(this).pointer;
  }

  private ask(name: string): number {
    return this.core.library.ask((call) => call[name]!(this.checked));
  }

  private readText(name: string): string {
    if (!this.isAlive) refuse("the node is no longer in its net", NODE_GONE);
    const { library } = this.core;
    return library.ask((call) => library.text(call[name]!(this.pointer)));
  }

  private writeText(name: string, text: string): void {
    const { library } = this.core;
    library.ask((call) => library.withText(text, (at) => call[name]!(this.checked, at)));
  }

  private list(name: string): Node[] {
    return this.core.library.ask((call) => this.core.nodesOf(call[name]!(this.checked)));
  }

  private eachState<T>(what: (state: number) => T): T[] {
    return Array.from({ length: this.numStates }, (_, state) => what(state));
  }
}

/** @internal A weight for each state, of which absent ones have 0. */
export function likelihoodOf(node: Node, likelihood: Likelihood): Float32Array {
  const weights = new Float32Array(node.numStates);
  if (Array.isArray(likelihood) || ArrayBuffer.isView(likelihood)) {
    const listed = likelihood as ArrayLike<number>;
    if (listed.length !== weights.length) {
      refuse(`node '${node.name}' has ${weights.length} states, but ${listed.length} weights are given`);
    }
    weights.set(listed);
  } else {
    for (const [state, weight] of Object.entries(likelihood as Record<string, number>)) weights[node.state(state)] = weight;
  }
  return weights;
}
