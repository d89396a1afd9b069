// Findings as plain values, so that steps back, links and comparisons can hold them: what the engine answers of a net, and
// what is entered into it.

import type { Found, Net } from "bravic";
import type { Variable } from "./variables";

/** What is known, by the place of the node in the net. */
export type Findings = ReadonlyMap<number, Found>;

/** Likelihoods are kept between these, so that a slider alone never makes anything impossible. */
export const LEAST_LIKELIHOOD = 0.001;

export function areEqual(a: Found | undefined, b: Found | undefined): boolean {
  if (!a || !b) return a === b;
  switch (a.kind) {
    case "state":
      return b.kind === "state" && a.state === b.state;
    case "value":
      return b.kind === "value" && a.value === b.value;
    case "not":
      return b.kind === "not" && a.excluded.join() === b.excluded.join();
    case "likelihood":
      return b.kind === "likelihood" && a.likelihood.join() === b.likelihood.join();
  }
}

/** The nodes about which two sets of findings say different things. */
export function differing(a: Findings, b: Findings): number[] {
  const all = new Set([...a.keys(), ...b.keys()]);
  return [...all].filter((index) => !areEqual(a.get(index), b.get(index)));
}

/** Enters what was found of a node of which nothing is entered; throws what the engine refuses. */
export function enterInto(net: Net, { node }: Variable, found: Found | undefined): void {
  if (!found) return;
  switch (found.kind) {
    case "state":
      return net.enter(node, found.state);
    case "value":
      return net.enterValue(node, found.value);
    case "not":
      for (const state of found.excluded) net.exclude(node, state);
      return;
    case "likelihood":
      return net.enter(node, found.likelihood);
  }
}

export function isExcluded(found: Found | undefined, state: number): boolean {
  return found?.kind === "not" && found.excluded.includes(state);
}

/** The finding after one more state was excluded or, if it was excluded before, allowed again. */
export function toggleExcluded(found: Found | undefined, state: number, numStates: number): Found | undefined {
  const before = found?.kind === "not" ? found.excluded : [];
  const after = before.includes(state) ? before.filter((s) => s !== state) : [...before, state].sort((a, b) => a - b);
  if (after.length === 0) return undefined;
  if (after.length < numStates - 1) return { kind: "not", excluded: after };
  // A node of which one state alone is left is known.
  const left = Array.from({ length: numStates }, (_, s) => s).filter((s) => !after.includes(s));
  return left.length === 1 ? { kind: "state", state: left[0]! } : found;
}

/** The weight of each state under a finding, the largest 1. */
export function likelihoodOf(found: Found | undefined, numStates: number): number[] {
  const weights = new Array<number>(numStates).fill(found?.kind === "state" || found?.kind === "value" ? 0 : 1);
  if (found?.kind === "likelihood") return [...found.likelihood];
  if (found?.kind === "not") for (const state of found.excluded) weights[state] = 0;
  if ((found?.kind === "state" || found?.kind === "value") && found.state !== null) weights[found.state] = 1;
  return weights;
}

const round = (weight: number): number => Number(weight.toPrecision(4));

/** Likelihoods scaled so that the largest is 1; none where they tell nothing. */
export function normalized(weights: readonly number[]): Found | undefined {
  const largest = Math.max(...weights);
  if (!(largest > 0)) return undefined;
  const likelihood = weights.map((weight) => round(weight / largest));
  return likelihood.every((weight) => weight === 1) ? undefined : { kind: "likelihood", likelihood };
}

/**
 * The likelihood that makes a belief what is wanted, all else as it is (Jeffrey's rule): the odds of the state are
 * multiplied by what the belief's odds lack. beliefs: those of the node under the finding.
 */
export function likelihoodFor(found: Found | undefined, beliefs: ArrayLike<number>, state: number, wanted: number): Found | undefined {
  const belief = beliefs[state]!;
  const weights = likelihoodOf(found, beliefs.length);
  if (!(belief > 0 && belief < 1)) return found;
  const odds = (wanted / (1 - wanted)) * ((1 - belief) / belief);
  weights[state]! *= odds;
  const largest = Math.max(...weights);
  return normalized(weights.map((weight) => (weight > 0 ? Math.max(weight / largest, LEAST_LIKELIHOOD / 10) : 0)));
}

const number = (value: number): string => String(Number(value.toPrecision(4)));

/** "Smoking is smoker", "Age is not old or older", "X-ray weighs 0.8 : 0.4". */
export function describe(variable: Variable, found: Found): string {
  const { title, states } = variable;
  switch (found.kind) {
    case "state":
      return `${title} is ${states[found.state] ?? found.state}`;
    case "value":
      return `${title} is ${number(found.value)}`;
    case "not":
      return `${title} is not ${found.excluded.map((s) => states[s]).join(" or ")}`;
    case "likelihood":
      return `${title} weighs ${found.likelihood.map(number).join(" : ")}`;
  }
}

/** The same without the node's name: for lists in which it stands beside. */
export function describeShort(variable: Variable, found: Found): string {
  return describe({ ...variable, title: "" }, found).trim().replace(/^is /, "");
}
