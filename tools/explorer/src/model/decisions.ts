// Decision networks: the best decisions given what was found, what each choice is worth, and what is to be expected of each
// utility. Beliefs are those of the net if the best is done: every decision acts as the table just found for it, which is
// a function of what is known when it is taken (Cooper 1988). Decisions are found in a copy: the net itself stays without
// tables for them, which would stand against other choices.

import type { Choice, Net } from "bravic";
import type { Variable } from "./variables";

export class Decisions {
  /** What the best decisions promise; null where that is not defined. */
  expectedUtility: number | null = null;
  private readonly choices = new Map<number, readonly Choice[]>();
  private readonly utilities = new Map<number, number>();

  private solved: Net;

  constructor(private readonly net: Net, private readonly variables: readonly Variable[]) {
    this.solved = net.copy();
  }

  /** The solved net with its decisions as chance nodes, of which can be asked what is asked of nets without decisions. */
  get twin(): Net {
    return this.solved.underPolicy;
  }

  /** Follows the net's findings. */
  solve(): void {
    this.choices.clear();
    this.utilities.clear();
    this.solved.free();
    this.solved = this.net.copy();
    this.solved.decide();
    this.expectedUtility = this.solved.expectedUtility;
    for (const { index, name, kind } of this.variables) if (kind === "decision") this.choices.set(index, this.solved.choices(name));
    for (const variable of this.variables) if (variable.kind === "utility") this.utilities.set(variable.index, this.expected(variable));
  }

  /** What a decision's choices are worth, by state; null where that is not defined. */
  worths(index: number): readonly (number | null)[] {
    const worths = new Array<number | null>(this.variables[index]!.states.length).fill(null);
    for (const { state, utility } of this.choices.get(index) ?? []) worths[state] = utility;
    return worths;
  }

  /** What is to be expected of one utility. */
  utility(index: number): number | null {
    return this.utilities.get(index) ?? null;
  }

  private expected({ node, parents }: Variable): number {
    const { table } = node;
    if (!table) return NaN;
    const joint = parents.length ? this.twin.joint(parents.map((index) => this.variables[index]!.name)) : [1];
    let sum = 0;
    for (let row = 0; row < table.values.length; ++row) if (joint[row]! > 0) sum += joint[row]! * table.values[row]!;
    return sum;
  }
}
