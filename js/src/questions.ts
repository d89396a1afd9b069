// What a net is asked beyond beliefs: configurations, explanations, information, sensitivity, separation, many cases.

import type { Core } from "./core.js";
import { CONTRADICTION, refuse } from "./errors.js";
import type { Node } from "./node.js";
import type { CaseAnswer, Configuration, Explanation, Information, NodeRef, Sensitivity, State } from "./types.js";

const EVERY_STATE = -5;
const UNDEF_STATE = -3;

type Coefficients = readonly [number, number, number, number];

function ratio([c0, c1, c2, c3]: Coefficients, x: number): number | null {
  const divisor = c2 * x + c3;
  return divisor ? (c0 * x + c1) / divisor : null;
}

/** The part of a net that is asked; nothing of the net is changed by asking. */
export abstract class Questions {
  /** @internal */
  abstract readonly core: Core;

  /** Whether the node has beliefs, where the net has neither decisions nor utilities. */
  private isChance(node: Node): boolean {
    return node.kind === "nature" && node.numStates > 0;
  }

  /** @internal Asks something that needs a compiled net, which it stays. */
  protected askCompiled<T>(what: (call: Core["library"]["call"]) => T, expected?: number): T {
    const { library } = this.core;
    return library.ask((call) => {
      call["CompileNet_bn"]!(this.core.pointer);
      return what(call);
    }, expected);
  }

  private get all(): readonly Node[] {
    return this.core.nodes;
  }

  private several(refs: readonly NodeRef[]): Node[] {
    return refs.map((ref) => this.core.get(ref));
  }

  // ---- Configurations ----

  /** The most probable configuration of all nodes given the findings; with count the best ones, best first. */
  mpe(): Configuration;
  mpe(count: number): Configuration[];
  mpe(count?: number): Configuration | Configuration[] {
    const wanted = count ?? 1;
    if (!Number.isInteger(wanted) || wanted < 0) refuse(`${wanted} is no number of configurations`);
    const { library, nodes } = this.core;
    const best = library.within(4 * wanted * nodes.length, (states) =>
      library.within(8 * wanted, (probs) =>
        this.askCompiled((call) => {
          const found = Math.max(0, call["MostProbableConfigs_bn"]!(this.core.pointer, wanted, states, probs));
          return Array.from({ length: found }, (_, i) =>
            this.configuration(nodes, states + 4 * i * nodes.length, library.double(probs + 8 * i)),
          );
        }),
      ),
    );
    return count === undefined ? best[0]! : best;
  }

  /** The most probable joint states of these nodes given the findings, all others summed out. */
  bestStates(nodes: readonly NodeRef[]): Configuration {
    const { library } = this.core;
    const listed = this.several(nodes);
    return library.within(8, (prob) =>
      library.within(4 * listed.length, (states) =>
        this.askCompiled((call) => {
          const failed = this.core.withList(listed, (list) => call["MostProbableStates_bn"]!(list, states, prob));
          return this.configuration(failed ? [] : listed, states, library.double(prob));
        }),
      ),
    );
  }

  private configuration(nodes: readonly Node[], at: number, probability: number): Configuration {
    const states: Record<string, string> = Object.create(null);
    this.core.library.ints(at, nodes.length).slice().forEach((state, i) => {
      if (state >= 0) states[nodes[i]!.name] = nodes[i]!.states[state]!;
    });
    return { states, probability };
  }

  /** The joint distribution of some nodes given the findings; the states of the last node vary fastest. */
  joint(nodes: readonly NodeRef[]): Float64Array {
    const { library } = this.core;
    const listed = this.several(nodes);
    const size = listed.reduce((product, node) => product * node.numStates, 1);
    return library.within(8 * size, (probs) =>
      this.askCompiled((call) => {
        this.core.withList(listed, (list) => call["JointBeliefs_bn"]!(list, probs));
        return library.doubles(probs, size).slice();
      }),
    );
  }

  // ---- Findings that contradict each other, and what they do ----

  /** A smallest set of findings that makes the state impossible (empty: it always is); null where it is possible. */
  conflict(node: NodeRef, state: State): Node[] | null {
    const target = this.core.get(node);
    return this.conflictOf(target, target.state(state));
  }

  /** A smallest set of findings that contradict each other; null where they do not. */
  contradiction(): Node[] | null {
    const node = this.all.find((each) => this.isChance(each));
    return node ? this.conflictOf(node, EVERY_STATE) : null;
  }

  private conflictOf(node: Node, state: number): Node[] | null {
    return this.askCompiled((call) => {
      const list = call["ConflictingFindings_bn"]!(node.pointer, state);
      if (!list) return null;
      const nodes = this.core.nodesOf(list);
      call["FreeNodeList_bn"]!(list);
      return nodes;
    });
  }

  /** How much the findings surprise together, in bits: above 0 more than one by one; Infinity for a contradiction. */
  get surprise(): number {
    const { library } = this.core;
    return library.infinite(this.askCompiled((call) => call["FindingsConflict_bn"]!(this.core.pointer)));
  }

  /** What each finding does to the belief in the target's state, or which findings rule it out. */
  explain(target: NodeRef, state: State): Explanation {
    const { library } = this.core;
    const node = this.core.get(target);
    const number = node.state(state);
    if (this.askCompiled((call) => call["CaseProbability_bn"]!(this.core.pointer), CONTRADICTION) === 0) {
      return { target: node, state: number, belief: null, impacts: [], conflict: this.conflictOf(node, EVERY_STATE) ?? [] };
    }
    const conflict = this.conflictOf(node, number);
    const found = this.all.filter((each) => each.finding !== null && each.numStates > 0);
    const without = library.within(8 * found.length, (at) =>
      this.askCompiled((call) => {
        this.core.withList(found, (list) => call["FindingImpacts_bn"]!(node.pointer, number, list, at));
        return library.doubles(at, found.length).slice();
      }),
    );
    const impacts = found.map((each, i) => ({ node: each, without: without[i]! }));
    return { target: node, state: number, belief: node.beliefs[number]!, impacts, conflict };
  }

  // ---- Information, sensitivity, separation ----

  /** What each node is expected to tell about the target, best first; by default all nature nodes but the target. */
  information(target: NodeRef, others?: readonly NodeRef[]): Information[] {
    const { library } = this.core;
    const node = this.core.get(target);
    const asked = others ? this.several(others) : this.all.filter((each) => each !== node && this.isChance(each));
    const bits = library.within(8 * asked.length, (at) =>
      this.askCompiled((call) => {
        this.core.withList(asked, (list) => call["InformationGains_bn"]!(node.pointer, list, at));
        return library.doubles(at, asked.length).slice();
      }),
    );
    return asked.map((each, i) => ({ node: each, bits: bits[i]! })).sort((a, b) => b.bits - a.bits);
  }

  /** How the belief in the target's state depends on each entry of the nodes' tables, steepest first; top: how many. */
  sensitivity(target: NodeRef, state: State, options: { nodes?: readonly NodeRef[]; top?: number } = {}): Sensitivity[] {
    const { library } = this.core;
    const node = this.core.get(target);
    const number = node.state(state);
    const asked = options.nodes ? this.several(options.nodes) : this.all.filter((each) => this.isChance(each));
    const tables = asked.map((each) => each.table ?? refuse(`node '${each.name}' has no table`));
    const size = tables.reduce((sum, table) => sum + table.values.length, 0);
    const coefficients = library.within(8 * 4 * size, (at) =>
      this.askCompiled((call) => {
        this.core.withList(asked, (list) => call["BeliefSensitivities_bn"]!(node.pointer, number, list, at));
        return library.doubles(at, 4 * size).slice();
      }),
    );
    const found: Sensitivity[] = [];
    let at = 0;
    tables.forEach((table, i) => {
      table.values.forEach((value, entry) => {
        const four = Array.from(coefficients.subarray(at, at + 4)) as unknown as Coefficients;
        at += 4;
        found.push(sensitivityOf(asked[i]!, table.shape, entry, value, four));
      });
    });
    found.sort((a, b) => Math.abs(b.derivative) - Math.abs(a.derivative));
    return found.slice(0, options.top);
  }

  /** Whether the links alone keep some nodes independent of others once those given are known. */
  separated(some: readonly NodeRef[], others: readonly NodeRef[], given: readonly NodeRef[] = []): boolean {
    const { core } = this;
    const answer = core.library.ask((call) =>
      core.withList(this.several(some), (first) =>
        core.withList(this.several(others), (second) =>
          core.withList(this.several(given), (known) => call["AreSeparated_bn"]!(first, second, known)),
        ),
      ),
    );
    return answer === 1;
  }

  // ---- Many cases ----

  /**
   * Answers many cases at once, of each the targets' beliefs; the net's own findings are left aside. rows: states by
   * nodes, absent or null where nothing is known. targets: by default all nodes that no row has.
   */
  infer(rows: readonly Readonly<Record<string, State | null | undefined>>[], targets?: readonly NodeRef[]): CaseAnswer[] {
    const { core } = this;
    const { library } = core;
    const columns = new Map<string, number>(); // several names can be one node's
    const observed: Node[] = [];
    for (const name of new Set(rows.flatMap((row) => Object.keys(row)))) {
      const node = core.get(name);
      if (!observed.includes(node)) observed.push(node);
      columns.set(name, observed.indexOf(node));
    }
    const asked = targets
      ? this.several(targets)
      : this.all.filter((node) => this.isChance(node) && !observed.includes(node));
    const states = new Int32Array(rows.length * observed.length).fill(UNDEF_STATE);
    rows.forEach((row, i) => {
      for (const [name, state] of Object.entries(row)) {
        const column = columns.get(name)!;
        if (state !== null && state !== undefined) states[i * observed.length + column] = observed[column]!.state(state);
      }
    });
    const sizes = asked.map((node) => node.numStates);
    const width = sizes.reduce((sum, size) => sum + size, 0);
    return library.withInts(states, (cells) =>
      library.within(4 * width * rows.length, (beliefs) =>
        library.within(8 * rows.length, (logs) =>
          this.askCompiled((call) => {
            core.withList(observed, (seen) =>
              core.withList(asked, (list) =>
                call["BeliefsOfCases_bn"]!(seen, cells, rows.length, list, beliefs, logs, 1),
              ),
            );
            return rows.map((_, i) => {
              let at = beliefs + 4 * width * i;
              const answers: Record<string, Float32Array> = Object.create(null);
              asked.forEach((node, j) => {
                answers[node.name] = library.floats(at, sizes[j]!).slice();
                at += 4 * sizes[j]!;
              });
              return { beliefs: answers, logProbability: library.infinite(library.double(logs + 8 * i)) };
            });
          }),
        ),
      ),
    );
  }
}

/** Of a row that was declared impossible nothing depends. */
function sensitivityOf(
  node: Node, shape: readonly number[], entry: number, value: number, coefficients: Coefficients,
): Sensitivity {
  const [c0, c1, c2, c3] = coefficients;
  const divisor = c2 * value + c3;
  const place: number[] = [];
  for (let i = shape.length - 1, rest = entry; i >= 0; --i) {
    place.unshift(rest % shape[i]!);
    rest = Math.floor(rest / shape[i]!);
  }
  const state = place.pop()!;
  const derivative = value < 0 || !divisor ? 0 : (c0 * c3 - c1 * c2) / divisor ** 2;
  const [at0, at1] = [ratio(coefficients, 0), ratio(coefficients, 1)];
  return { node, parentStates: place, state, value, derivative, at0, at1, coefficients };
}
