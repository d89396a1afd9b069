// The whole interface of the package. (Made by hand until the sources are there; then made from them.)
import type {
  CaseAnswer, Choice, Configuration, Estimate, Explanation, Finding, Format, Found, Information, NodeKind, NodeRef,
  Problem, Sensitivity, State, Table,
} from "./src/types.js";
export * from "./src/types.js";

export interface LoadOptions {
  /** The bytes of bravic.wasm, or what it was compiled to; by default the file beside this script. */
  module?: BufferSource | WebAssembly.Module;
  /** Told of notices and warnings; by default they go to console.warn. */
  warn?: (problem: Problem) => void;
}
/** Starts the library: each call has memory of its own. */
export function load(options?: LoadOptions): Promise<Bravic>;

/** A call failed, and changed nothing unless its comment says so. */
export class BravicError extends Error {
  /** As in docs/errors.md; 0 for errors of this package. */
  readonly number: number;
  /** 5, or 6 for an internal error. */
  readonly danger: number;
}

export class Bravic {
  /** Such as "1.06 ...". */
  readonly version: string;
  /** Reads a net. name: what messages call it; a net without a name has its name from it. format: by default what the content tells. */
  read(text: string | Uint8Array, name?: string, format?: Format): Net;
}

export class Net {
  name: string;
  title: string;
  comment: string;
  readonly isFree: boolean;
  /** All nodes, parents before their children. The same Node objects each time. */
  readonly nodes: readonly Node[];
  /** The node of that name or original spelling; a BravicError where there is none. */
  node(name: NodeRef): Node;
  /** The same, but null where there is none. */
  find(name: string): Node | null;
  /** Texts kept by programs; "" where there is none. */
  text(key: string): string;
  setText(key: string, text: string): void;

  /** Enters a finding beside those there are: a state, or likelihoods. What contradicts them is refused. */
  enter(node: NodeRef, finding: Finding): void;
  /** Enters it in place of the node's own findings: one change for undo; where it is refused they stay. */
  replace(node: NodeRef, finding: Finding): void;
  enterValue(node: NodeRef, value: number): void;
  /** The node is not in that state. */
  exclude(node: NodeRef, state: State): void;
  /** Takes back the findings of these nodes; of all nodes where none is named. */
  retract(...nodes: NodeRef[]): void;
  readonly findings: ReadonlyMap<Node, Found>;

  compile(): void;
  estimate(): Estimate;
  /** The junction tree, a line for each clique. */
  readonly tree: string;
  /** The probabilities of one node's states given all findings. */
  beliefs(node: NodeRef): Float32Array;
  /**
   * Those of all nodes in one array, in the order of `nodes`: those of nodes[i] from beliefOffsets[i] to
   * beliefOffsets[i + 1], which are equal for nodes without beliefs (decisions, utilities, those without states). `into`
   * is used again where it has that length.
   */
  allBeliefs(into?: Float64Array): Float64Array;
  readonly beliefOffsets: Int32Array;
  /** The probability of all findings together; 0 where they contradict each other. */
  readonly probability: number;
  /** Its natural logarithm, however small it is; -Infinity for a contradiction. */
  readonly logProbability: number;
  /** How much the findings surprise together, in bits: above 0 more than one by one; Infinity for a contradiction. */
  readonly surprise: number;

  /** The most probable configuration of all nodes given the findings; with count the best ones, best first. */
  mpe(): Configuration;
  mpe(count: number): Configuration[];
  /** The most probable joint states of these nodes, all others summed out. */
  bestStates(nodes: NodeRef[]): Configuration;
  /** The joint distribution of some nodes given the findings; the states of the last node vary fastest. */
  joint(nodes: NodeRef[]): Float64Array;
  /** A smallest set of findings that makes the state impossible (empty: it always is); null where it is possible. */
  conflict(node: NodeRef, state: State): Node[] | null;
  /** A smallest set of findings that contradict each other; null where they do not. */
  contradiction(): Node[] | null;
  explain(target: NodeRef, state: State): Explanation;
  /** What each node is expected to tell about the target, best first; by default all nature nodes but the target. */
  information(target: NodeRef, others?: NodeRef[]): Information[];
  sensitivity(target: NodeRef, state: State, options?: { nodes?: NodeRef[]; top?: number }): Sensitivity[];
  /** Whether the links alone keep some nodes independent of others once those given are known. */
  separated(some: NodeRef[], others: NodeRef[], given?: NodeRef[]): boolean;

  /**
   * Finds the best decisions, whose tables are set as one change, and answers the expected utility. "full": nothing is
   * forgotten; "limited": a decision knows its parents alone; by default full where that can be, else limited.
   */
  decide(method?: "full" | "limited"): number;
  /** What the present decisions promise given the findings; null where they are not all made. */
  readonly expectedUtility: number | null;
  /** What each choice of a decision is worth given the findings. Changes nothing. */
  choices(decision: NodeRef): Choice[];
  valueOfObserving(node: NodeRef, decision: NodeRef): number;

  /** Beliefs of many cases at once; the net's own findings are left aside. */
  infer(rows: readonly Readonly<Record<string, State | null | undefined>>[], targets?: NodeRef[]): CaseAnswer[];
  /** Random cases that agree with the findings: the numbers of states of `nodes`, row by row. */
  sample(count: number, options?: { nodes?: NodeRef[]; seed?: number }): Int32Array;
  /** The same as comma-separated text with a header, states by their original spellings. */
  sampleText(count: number, options?: { nodes?: NodeRef[]; seed?: number }): string;

  /** Makes one step for undo of what is done within; an exception takes all of it back. */
  change<T>(what: () => T): T;
  /** Takes the last change back; false where there is none. */
  undo(): boolean;
  redo(): boolean;

  /** The net as a file of that format has it. */
  write(format?: Format): string;
  /** A net of its own that says the same, findings included. */
  copy(): Net;
  /** Frees the net now; else it goes with the last of its objects. It and its nodes are refused from then on. */
  free(): void;
}

export class Node {
  readonly net: Net;
  /** False once it was deleted, its addition undone, or the net freed. */
  readonly isAlive: boolean;
  readonly name: string;
  /** The name as another program's file spells it; the name where that is the same. */
  readonly label: string;
  title: string;
  comment: string;
  readonly kind: NodeKind;
  /** False for a continuous node, with intervals for states or without. */
  readonly isDiscrete: boolean;
  /** The names of the states; a state without a name has its number. */
  readonly states: readonly string[];
  /** The states as another program's file spells them. */
  readonly stateLabels: readonly string[];
  /** The numbers that states stand for; of a continuous node the bounds of its intervals; null where there are none. */
  readonly levels: readonly number[] | null;
  /** The number of a state; a BravicError where there is none. */
  state(state: State): number;
  /** null keeps the place of a parent that was deleted. */
  readonly parents: readonly (Node | null)[];
  readonly children: readonly Node[];
  /** The nodes that separate this one from all others. */
  readonly blanket: readonly Node[];
  readonly table: Table | null;
  /** Whether the state follows from the parents' states. */
  readonly isDeterministic: boolean;
  /** Where it stands in a picture, in points, if anybody has said so. */
  position: { readonly x: number; readonly y: number } | null;
  text(key: string): string;
  setText(key: string, text: string): void;
  readonly finding: Found | null;
  readonly likelihood: Float32Array;
  readonly beliefs: Float32Array;
}
