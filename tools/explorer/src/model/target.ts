// A node in question: what the others would tell about it, and what each finding does to its belief. Both are asked for
// when they are first read after a change, since in large nets they take longer than beliefs.

import type { Explanation } from "bravic";
import { listed, textOf, type Session } from "./session";

export interface Impact {
  readonly index: number;
  readonly without: number; // the belief without that finding
}

export interface Reason {
  readonly belief: number | null;
  readonly impacts: readonly Impact[]; // those that change most first
  readonly conflict: string; // why the state is impossible; empty where it is not
}

export class Target {
  index: number | null = null;
  state = 0;
  private information: Map<number, number> | null = null;
  private reason: Reason | null = null;
  private entropy = 0;

  constructor(private readonly session: Session) {}

  choose(index: number | null, state?: number): void {
    const { session } = this;
    if (index !== null && !session.hasBeliefs(index)) return;
    this.state = state ?? (index === null ? 0 : mostProbable(session.beliefsOf(index)));
    this.index = index;
    this.forget();
    session.said = index === null ? "No target." : `Target: ${session.variables[index]!.title}.`;
    session.changed();
  }

  /** What was asked no longer holds. */
  forget(): void {
    this.information = null;
    this.reason = null;
  }

  /** In bits, by node; empty without a target. */
  bits(): ReadonlyMap<number, number> {
    return (this.information ??= this.askInformation());
  }

  /** What share of the target's uncertainty a node would take away. */
  share(index: number): number {
    const bits = this.bits().get(index) ?? 0;
    return this.entropy > 0 ? Math.min(bits / this.entropy, 1) : 0;
  }

  explain(): Reason {
    return (this.reason ??= this.askReason());
  }

  private askInformation(): Map<number, number> {
    const bits = new Map<number, number>();
    const { session, index } = this;
    if (index === null || !session.hasBeliefs(index)) return bits;
    this.entropy = [...session.beliefsOf(index)].reduce((sum, p) => (p > 0 ? sum - p * Math.log2(p) : sum), 0);
    const places = new Map(session.variables.map((variable) => [variable.name, variable.index]));
    for (const item of session.asked.information(session.variables[index]!.name)) bits.set(places.get(item.node.name)!, item.bits);
    return bits;
  }

  private askReason(): Reason {
    const { session, index } = this;
    const nothing: Reason = { belief: null, impacts: [], conflict: "" };
    if (index === null || session.contradiction || session.trouble) return nothing;
    const variable = session.variables[index]!;
    let answer: Explanation;
    try {
      answer = session.asked.explain(variable.name, this.state);
    } catch (error) {
      return { ...nothing, conflict: textOf(error) };
    }
    const places = new Map(session.variables.map(({ name, index: place }) => [name, place]));
    const belief = answer.belief;
    const impacts = answer.impacts.map(({ node, without }) => ({ index: places.get(node.name)!, without }));
    impacts.sort((a, b) => Math.abs(b.without - (belief ?? 0)) - Math.abs(a.without - (belief ?? 0)));
    const ruledOut = answer.conflict?.map((node) => session.variables[places.get(node.name)!]!.title);
    const state = `“${variable.states[this.state]}”`;
    const conflict = !ruledOut ? "" : ruledOut.length === 0 ? `${state} is never possible.` : `${state} is ruled out by ${listed(ruledOut)}.`;
    return { belief, impacts, conflict };
  }
}

export function mostProbable(beliefs: ArrayLike<number>): number {
  let best = 0;
  for (let s = 1; s < beliefs.length; ++s) if (beliefs[s]! > beliefs[best]!) best = s;
  return best;
}
