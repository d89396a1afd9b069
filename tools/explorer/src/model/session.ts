// What the page knows: a net, what was found, what follows from it, and the steps that led here. No part of it knows of
// the page itself; views are told after every change and read what they need.
//
// Findings are kept here as plain values and handed to the net as differences, so that a step back is one set of findings
// in place of another, however it came about.

import type { Bravic, Found, Net, Node } from "bravic";
import { BravicError } from "bravic";
import { Decisions } from "./decisions";
import { areEqual, describe, differing, enterInto, isExcluded, likelihoodFor, likelihoodOf, toggleExcluded, type Findings } from "./findings";
import { Target } from "./target";
import { readVariables, type Variable } from "./variables";

/** Changes of beliefs below this are not worth pointing at. */
const LEAST_CHANGE = 0.005;
const MOST_POINTED_AT = 5;
/** Nor are those that are small beside the largest. */
const LEAST_SHARE = 0.2;
/** Changes of two states that differ by less are the same, up to rounding. */
const SAME_CHANGE = 1e-6;
const UNDO_DEPTH = 500;
/** Bars are dragged between this and the rest to 1: nothing becomes certain by it. */
const LEAST_LEANING = 0.005;

export interface Change {
  readonly index: number;
  readonly state: number; // whose probability changed most
  readonly from: number;
  readonly to: number;
}

export interface Contradiction {
  readonly indices: readonly number[]; // of nodes whose findings cannot all hold
  readonly text: string;
}

/** Findings that were wanted and refused, since they contradict each other; those before hold still. */
export interface Clash extends Contradiction {
  readonly wanted: Findings;
}

export class Session {
  readonly net: Net;
  readonly variables: readonly Variable[];
  readonly decisions: Decisions | null;
  readonly target: Target;
  /** What the net came with. */
  readonly stored: Findings;

  findings: Findings;
  /** Those of variables[i] from offsets[i] to offsets[i + 1]. */
  beliefs: Float64Array = new Float64Array(0);
  /** The same before the last step. */
  before: Float64Array = new Float64Array(0);
  readonly offsets: Int32Array;
  logProbability = 0;
  /** How much the findings surprise together, in bits. */
  surprise = 0;
  contradiction: Contradiction | null = null;
  /** What was refused last because of other findings; null after anything that was not. */
  clash: Clash | null = null;
  /** Why there are no beliefs at all; empty where there are. */
  trouble = "";
  /** What else was refused last, in words; empty after anything that was not. */
  refusal = "";
  /** What the last step did, in words. */
  said = "";
  /** Goes up with every change: what was drawn with the same number is up to date. */
  version = 0;

  private past: Findings[] = [];
  private future: Findings[] = [];
  private gesture: unknown = null;
  private readonly listeners = new Set<() => void>();

  constructor(readonly bravic: Bravic, net: Net) {
    this.net = net;
    this.variables = readVariables(net);
    const places = new Map(net.nodes.map((node, index) => [node, index]));
    this.stored = new Map([...net.findings].map(([node, found]) => [places.get(node)!, found]));
    this.findings = this.stored;
    const isDecisionNet = this.variables.some(({ kind }) => kind === "decision" || kind === "utility");
    try {
      if (!isDecisionNet) net.compile();
    } catch (error) {
      this.trouble = textOf(error);
    }
    this.decisions = isDecisionNet ? new Decisions(net, this.variables) : null;
    this.offsets = net.beliefOffsets;
    this.target = new Target(this);
    this.update();
    this.before = this.beliefs;
  }

  subscribe(listener: () => void): () => void {
    this.listeners.add(listener);
    return () => this.listeners.delete(listener);
  }

  /** Tells the views that something changed which is shown. */
  changed(): void {
    ++this.version;
    for (const listener of this.listeners) listener();
  }

  /** Tells what was done that is no finding. */
  say(text: string): void {
    this.said = text;
    this.refuse("");
  }

  refuse(text: string): void {
    this.refusal = text;
    this.clash = null;
    this.changed();
  }

  /** What was refused need not be shown any longer. */
  forgive(): void {
    this.refuse("");
  }

  // ---- what is believed ----

  /** The net of which questions are asked: of decision networks, the one in which the best is done. */
  get asked(): Net {
    return this.decisions ? this.decisions.twin : this.net;
  }

  /** The net of which is asked whether findings can hold: of decision networks, one in which anything may be done. */
  private get undecided(): Net {
    return this.decisions ? this.net.underPolicy : this.net;
  }

  hasBeliefs(index: number): boolean {
    return !this.trouble && !this.contradiction && this.offsets[index + 1]! > this.offsets[index]!;
  }

  beliefsOf(index: number): Float64Array {
    return this.beliefs.subarray(this.offsets[index], this.offsets[index + 1]);
  }

  beliefsBefore(index: number): Float64Array {
    return this.before.subarray(this.offsets[index], this.offsets[index + 1]);
  }

  /**
   * Of each node the state whose belief the last step changed most (of two that changed alike, the one that became more
   * probable), those that changed most first.
   */
  changes(): Change[] {
    if (this.contradiction || this.trouble || this.before.length !== this.beliefs.length) return [];
    const changes: Change[] = [];
    for (const { index } of this.variables) {
      const now = this.beliefsOf(index);
      const then = this.beliefsBefore(index);
      let state = 0;
      for (let s = 1; s < now.length; ++s) {
        const more = Math.abs(now[s]! - then[s]!) - Math.abs(now[state]! - then[state]!);
        if (more > SAME_CHANGE || (more > -SAME_CHANGE && now[s]! > then[s]!)) state = s;
      }
      if (now.length > 0) changes.push({ index, state, from: then[state]!, to: now[state]! });
    }
    const size = (change: Change) => Math.abs(change.to - change.from);
    const own = new Set(this.past.length ? differing(this.past.at(-1)!, this.findings) : []);
    changes.sort((a, b) => size(b) - size(a));
    const others = changes.filter(({ index }) => !own.has(index));
    const least = Math.max(LEAST_CHANGE, others.length ? LEAST_SHARE * size(others[0]!) : 0);
    return others.filter((change) => size(change) >= least).slice(0, MOST_POINTED_AT);
  }

  private update(): void {
    if (this.trouble) return;
    this.contradiction = null;
    try {
      if (this.undecided.logProbability === -Infinity) {
        this.contradiction = this.contradictionOf(this.places(this.undecided.contradiction() ?? []), this.findings);
        return;
      }
      this.decisions?.solve();
      this.logProbability = this.asked.logProbability;
      this.beliefs = this.beliefsOfAll();
      this.surprise = this.findings.size > 1 ? this.asked.surprise : 0;
    } catch (error) {
      this.contradiction = { indices: [], text: textOf(error) };
    } finally {
      this.target.forget();
    }
  }

  private beliefsOfAll(): Float64Array {
    if (!this.decisions) return this.net.allBeliefs();
    const beliefs = new Float64Array(this.offsets.at(-1)!);
    for (const { index, name } of this.variables)
      if (this.offsets[index + 1]! > this.offsets[index]!) beliefs.set(this.asked.beliefs(name), this.offsets[index]!);
    return beliefs;
  }

  private places(nodes: readonly Node[]): number[] {
    const names = new Set(nodes.map((node) => node.name));
    return this.variables.filter(({ name }) => names.has(name)).map(({ index }) => index);
  }

  private contradictionOf(indices: readonly number[], findings: Findings): Contradiction {
    const told = indices.filter((index) => findings.has(index)).map((index) => describe(this.variables[index]!, findings.get(index)!));
    const text = told.length === 1 ? `It cannot be that ${told[0]}.` : `These cannot all be true: ${listed(told)}.`;
    return { indices, text };
  }

  /** Nodes whose findings, as the net holds them now, leave nothing of what is to be found of another one. */
  private ruledOutBy({ index, name, states }: Variable, found: Found): number[] {
    const against = likelihoodOf(found, states.length).flatMap((weight, state) =>
      weight > 0 ? this.places(this.undecided.conflict(name, state) ?? []) : [],
    );
    return [...new Set([...against, index])].sort((a, b) => a - b);
  }

  isConflicting(index: number): boolean {
    return [this.contradiction, this.clash].some((conflict) => conflict?.indices.includes(index));
  }

  // ---- steps ----

  /**
   * What is found of one node from now on. gesture: steps of the same one, such as the positions of a slider that is
   * dragged, are taken back together. Answers whether it was accepted; else the refusal says why.
   */
  find(index: number, found: Found | undefined, gesture: unknown = null): boolean {
    const after = new Map(this.findings);
    if (found) after.set(index, found);
    else after.delete(index);
    return this.step(after, gesture);
  }

  /** Takes back the findings of a node, or of all. */
  retract(index?: number): boolean {
    return index === undefined ? this.step(new Map()) : this.find(index, undefined);
  }

  /**
   * What a press on a state does: it sets the state or, where that was set, takes it back; "not": the state is excluded, or
   * allowed again.
   */
  press(index: number, state: number, isNot: boolean): boolean {
    const found = this.findings.get(index);
    if (isNot) return this.find(index, toggleExcluded(found, state, this.variables[index]!.states.length));
    const isSet = (found?.kind === "state" || found?.kind === "value") && found.state === state;
    return this.find(index, isSet ? undefined : { kind: "state", state });
  }

  /** Whether likelihoods may be found of a node. */
  canLean(index: number): boolean {
    return this.variables[index]!.kind === "nature" && this.hasBeliefs(index);
  }

  /** Finds the likelihood that makes a state as probable as is wanted. */
  leanTo(index: number, state: number, wanted: number, gesture: unknown): void {
    if (!this.canLean(index)) return;
    const found = this.findings.get(index);
    const isKnown = found?.kind === "state" || found?.kind === "value" || isExcluded(found, state);
    if (isKnown) this.find(index, undefined, gesture);
    const kept = isKnown ? undefined : found;
    const belief = Math.min(Math.max(wanted, LEAST_LEANING), 1 - LEAST_LEANING);
    this.find(index, likelihoodFor(kept, this.beliefsOf(index), state, belief), gesture);
  }

  /** Makes a state more probable, or less, by so much. */
  lean(index: number, state: number, by: number): void {
    if (this.canLean(index)) this.leanTo(index, state, this.beliefsOf(index)[state]! + by, `lean ${index} ${state}`);
  }

  /** All findings at once, such as those of a link. */
  step(after: Findings, gesture: unknown = null): boolean {
    const before = this.findings;
    const nodes = differing(before, after);
    if (nodes.length === 0) return true;
    const beliefs = this.beliefs;
    if (!this.handOver(after)) return false;
    const isSameGesture = gesture !== null && gesture === this.gesture;
    if (!isSameGesture) {
      this.past.push(before);
      if (this.past.length > UNDO_DEPTH) this.past.shift();
      this.before = beliefs;
    }
    this.gesture = gesture;
    this.future = [];
    this.said = this.tell(nodes);
    this.changed();
    return true;
  }

  get canUndo(): boolean {
    return this.past.length > 0;
  }

  get canRedo(): boolean {
    return this.future.length > 0;
  }

  undo(): void {
    this.travel(this.past, this.future, "Undone");
  }

  redo(): void {
    this.travel(this.future, this.past, "Done again");
  }

  private travel(from: Findings[], to: Findings[], word: string): void {
    const after = from.at(-1);
    if (!after) return;
    const before = this.findings;
    const beliefs = this.beliefs;
    if (!this.handOver(after)) return;
    from.pop();
    to.push(before);
    this.before = beliefs;
    this.gesture = null;
    this.said = `${word}: ${this.tell(differing(before, after))}`;
    this.changed();
  }

  /** Makes the net's findings those given; where it refuses one of them, all stay as they were. */
  private handOver(after: Findings): boolean {
    const nodes = differing(this.findings, after);
    this.refusal = "";
    this.clash = null;
    let entering = -1;
    try {
      this.net.change(() => this.enterAll(nodes, after, (index) => (entering = index)));
    } catch (error) {
      this.clash = this.findClash(this.variables[entering], after);
      if (!this.clash) this.refusal = textOf(error);
    }
    if (!this.refusal && !this.clash && !this.trouble && !this.contradiction) this.leaveContradiction(nodes, after);
    if (this.refusal || this.clash) {
      this.said = "";
      this.changed();
      return false;
    }
    this.findings = after;
    this.update();
    return true;
  }

  private enterAll(nodes: readonly number[], findings: Findings, tell?: (index: number) => void): void {
    for (const index of nodes) this.net.retract(this.variables[index]!.node);
    for (const index of nodes) {
      tell?.(index);
      enterInto(this.net, this.variables[index]!, findings.get(index));
    }
  }

  /** Findings that were entered one by one may yet contradict each other: those before are entered again then. */
  private leaveContradiction(nodes: readonly number[], wanted: Findings): void {
    if (this.undecided.logProbability !== -Infinity) return;
    const indices = this.places(this.undecided.contradiction() ?? []);
    this.clash = { ...this.contradictionOf(indices, wanted), wanted };
    this.net.change(() => this.enterAll(nodes, this.findings));
  }

  /** Why findings were refused of which one could not be entered; null where no others stand against it. */
  private findClash(refused: Variable | undefined, wanted: Findings): Clash | null {
    const found = refused && wanted.get(refused.index);
    if (!found) return null;
    try {
      const others = new Map(wanted);
      others.delete(refused.index);
      const indices = this.given(others, () => this.ruledOutBy(refused, found));
      return { ...this.contradictionOf(indices, wanted), wanted };
    } catch {
      return null;
    }
  }

  /** What is answered under other findings than those there are. */
  private given<T>(findings: Findings, ask: () => T): T {
    const nodes = differing(this.findings, findings);
    try {
      this.enterAll(nodes, findings);
      return ask();
    } finally {
      this.enterAll(nodes, this.findings);
    }
  }

  /** Enters what was refused, but for the finding of one node. */
  insistWithout(index: number): void {
    if (!this.clash) return;
    const wanted = new Map(this.clash.wanted);
    wanted.delete(index);
    this.step(wanted);
  }

  private tell(nodes: readonly number[]): string {
    const parts = nodes.slice(0, 3).map((index) => {
      const variable = this.variables[index]!;
      const found = this.findings.get(index);
      return found ? describe(variable, found) : `${variable.title} is open`;
    });
    if (nodes.length > 3) parts.push(`and ${nodes.length - 3} more`);
    return `${parts.join(", ")}.`;
  }

  /** Whether what was found is what the net came with. */
  get isAsStored(): boolean {
    return differing(this.findings, this.stored).length === 0;
  }

  isFound(index: number, found: Found): boolean {
    return areEqual(this.findings.get(index), found);
  }
}

/** "a, b and c" */
export function listed(parts: readonly string[]): string {
  return parts.length < 2 ? parts.join("") : `${parts.slice(0, -1).join(", ")} and ${parts.at(-1)}`;
}

export function textOf(error: unknown): string {
  if (error instanceof BravicError) return error.message;
  return error instanceof Error ? error.message : String(error);
}
