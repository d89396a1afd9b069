// What goes into the calls and comes out of them: plain values, without behaviour.

import type { Node } from "./node.js";

/** The net files that can be read and written: "dne" is Bravic's own. docs/formats.md says what each of them holds. */
export type Format = "dne" | "bif" | "xmlbif" | "net" | "uai" | "xdsl";

/** A node, or its name, or the spelling that it has in another program's file. */
export type NodeRef = Node | string;

/** A state: its name, the spelling that it has in another program's file, or its number, from 0. */
export type State = string | number;

/** How probable an observation is in each state: all of them in order, or by name, in which absent states have 0. */
export type Likelihood = ArrayLike<number> | Readonly<Record<string, number>>;

/** What can be entered of a node. */
export type Finding = State | Likelihood;

/** What was found out about a node. */
export type Found =
  | { readonly kind: "state"; readonly state: number }
  /** A number, of a continuous node; the state of its interval with it, where there are intervals. */
  | { readonly kind: "value"; readonly value: number; readonly state: number | null }
  /** The node is in none of these states. */
  | { readonly kind: "not"; readonly excluded: readonly number[] }
  | { readonly kind: "likelihood"; readonly likelihood: readonly number[] };

export type NodeKind = "nature" | "constant" | "decision" | "utility" | "adversary" | "unknown";

/**
 * A node's table. The states of the first parent vary slowest, the node's own states fastest.
 *
 * "probabilities": shape [parents' numbers of states ..., own number of states]; entries below 0 are not given yet, or
 * belong to a configuration of the parents that cannot occur. "function": shape [parents' numbers of states ...], of
 * utilities, of decisions and of what is a function of its parents: a number, or the number of a state, for each
 * configuration; NaN where it is not said.
 */
export interface Table {
  readonly kind: "probabilities" | "function";
  readonly shape: readonly number[];
  readonly values: Float32Array | Float64Array;
}

/** A state for each node, and the probability of that together with the findings. */
export interface Configuration {
  /** Names of states by names of nodes; without a prototype, so that any name is a key like any other. */
  readonly states: Readonly<Record<string, string>>;
  readonly probability: number;
}

/** What each finding does to a belief. */
export interface Explanation {
  readonly target: Node;
  readonly state: number;
  /** The belief in the state given all findings; null where they contradict each other. */
  readonly belief: number | null;
  /** The belief without each finding; empty where they contradict each other. */
  readonly impacts: readonly { readonly node: Node; readonly without: number }[];
  /**
   * A smallest set of findings that rules the state out or, where belief is null, that contradict each other; null where
   * the state is possible.
   */
  readonly conflict: readonly Node[] | null;
}

/** How many bits a node is expected to tell about a target. */
export interface Information {
  readonly node: Node;
  readonly bits: number;
}

/** How a belief depends on one entry of a table: it is (c0 x + c1) / (c2 x + c3) as the entry x varies from 0 to 1. */
export interface Sensitivity {
  readonly node: Node;
  /** The states of the node's parents in the entry's row. */
  readonly parentStates: readonly number[];
  readonly state: number;
  /** The entry as it is. */
  readonly value: number;
  readonly derivative: number;
  /** The belief if the entry were 0, and 1; null where the findings would be impossible. */
  readonly at0: number | null;
  readonly at1: number | null;
  readonly coefficients: readonly [number, number, number, number];
}

/** What a decision's choice is worth. */
export interface Choice {
  readonly state: number;
  /** The expected utility if that is chosen, whatever else is known, all else as now; null where it is not defined. */
  readonly utility: number | null;
}

/** What compiling and all beliefs would take. */
export interface Estimate {
  readonly entries: number;
  readonly bytes: number;
  readonly seconds: number;
}

/** The answer to one of many cases. */
export interface CaseAnswer {
  /** By names of targets, the probabilities of their states; all 0 where the case is impossible. */
  readonly beliefs: Readonly<Record<string, Float32Array>>;
  /** The natural logarithm of the probability of the case's findings; -Infinity where it is impossible. */
  readonly logProbability: number;
}

/** What was reported without anything having failed: of danger 3 (a notice) or 4 (a warning). */
export interface Problem {
  readonly number: number;
  readonly danger: number;
  readonly message: string;
}
