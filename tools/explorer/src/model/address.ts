// Findings in the page's address, so that a case can be sent: "#Dyspnea=present&XRay!=abnormal&Smoking~0.9,0.3&Age:41.5".
// Nodes and states go by their names, which other characters than letters, digits and underscores are never part of; what
// an address says that the net does not know is left out and told.

import type { Found } from "bravic";
import type { Findings } from "./findings";
import type { Variable } from "./variables";

/** Says that nothing is found, in an address of a net that came with findings. */
const NOTHING = "#none";
const TERM = /^(\w+)(=|!=|~|:)(.+)$/;

function termOf({ name, node }: Variable, found: Found): string {
  const state = (s: number) => node.states[s] ?? String(s);
  switch (found.kind) {
    case "state":
      return `${name}=${state(found.state)}`;
    case "not":
      return `${name}!=${found.excluded.map(state).join(",")}`;
    case "likelihood":
      return `${name}~${found.likelihood.join(",")}`;
    case "value":
      return `${name}:${found.value}`;
  }
}

/** The fragment for some findings; empty where they are those the net came with. */
export function addressOf(findings: Findings, variables: readonly Variable[], isAsStored: boolean): string {
  if (isAsStored) return "";
  if (findings.size === 0) return NOTHING;
  return `#${[...findings].map(([index, found]) => encodeURI(termOf(variables[index]!, found))).join("&")}`;
}

function foundIn(variable: Variable, sign: string, text: string): Found | null {
  const numStates = variable.states.length;
  const names = new Map(variable.node.states.map((name, state) => [name, state]));
  const words = text.split(",");
  if (sign === "=") {
    const state = names.get(text);
    return state === undefined ? null : { kind: "state", state };
  }
  if (sign === "!=") {
    const excluded = words.map((word) => names.get(word) ?? -1).sort((a, b) => a - b);
    return excluded.every((state) => state >= 0) && excluded.length < numStates ? { kind: "not", excluded } : null;
  }
  const numbers = words.map((word) => (word.trim() === "" ? NaN : Number(word)));
  if (!numbers.every(Number.isFinite)) return null;
  if (sign === ":") return numbers.length === 1 && variable.isContinuous ? { kind: "value", value: numbers[0]!, state: null } : null;
  const isLikelihood = numbers.length === numStates && numbers.every((x) => x >= 0) && numbers.some((x) => x > 0);
  return isLikelihood ? { kind: "likelihood", likelihood: numbers } : null;
}

export interface Addressed {
  readonly findings: Findings;
  readonly unknown: readonly string[]; // terms that the net does not know
}

/** What an address says; null where it says nothing of findings. */
export function readAddress(fragment: string, variables: readonly Variable[]): Addressed | null {
  if (fragment.length < 2) return null;
  const findings = new Map<number, Found>();
  const unknown: string[] = [];
  if (fragment === NOTHING) return { findings, unknown };
  const byName = new Map(variables.map((variable) => [variable.name, variable]));
  for (const encoded of fragment.slice(1).split("&")) {
    const term = decoded(encoded);
    const [, name = "", sign = "", text = ""] = TERM.exec(term) ?? [];
    const variable = byName.get(name);
    const found = variable ? foundIn(variable, sign, text) : null;
    if (variable && found) findings.set(variable.index, found);
    else unknown.push(term);
  }
  return { findings, unknown };
}

function decoded(text: string): string {
  try {
    return decodeURI(text);
  } catch {
    return text;
  }
}
