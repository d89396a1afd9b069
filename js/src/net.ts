// Nets: what they are, findings, beliefs, decisions, many cases, random cases, undo, and texts to be saved.

import { Core } from "./core.js";
import { BravicError, CONTRADICTION, DECISIONS_NOT_ORDERED, POLICY_NEEDS_LINK, refuse } from "./errors.js";
import type { Library } from "./library.js";
import { likelihoodOf, type Node } from "./node.js";
import { PolicyNet, chooseAlways } from "./policy.js";
import { Questions } from "./questions.js";
import type { Choice, Estimate, Finding, Format, Found, NodeRef, State } from "./types.js";
import { commaSeparated } from "./cases.js";

const UNDO_DEPTH = 100;

/**
 * A belief network, or a decision network where it has decisions and utilities. It lives as long as something refers to
 * it or to a node of it, or until `free`.
 */
export class Net extends Questions {
  /** @internal */
  readonly core: Core;
  private offsets: Int32Array | null = null;
  private hasDecisions: boolean | null = null;
  private policyNet: PolicyNet | null = null;

  /** @internal */
  constructor(
    private readonly library: Library,
    pointer: number,
  ) {
    super();
    this.core = new Core(library, pointer, this);
    library.ask((call) => call["SetUndoDepth_bn"]!(UNDO_DEPTH, pointer));
  }

  // ---- What it is ----

  /** Up to 30 letters, digits and underscores. */
  get name(): string {
    return this.readText("GetNetName_bn");
  }

  set name(name: string) {
    this.writeText("SetNetName_bn", name);
  }

  /** A name for people; any text. */
  get title(): string {
    return this.readText("GetNetTitle_bn");
  }

  set title(title: string) {
    this.writeText("SetNetTitle_bn", title);
  }

  get comment(): string {
    return this.readText("GetNetComment_bn");
  }

  set comment(comment: string) {
    this.writeText("SetNetComment_bn", comment);
  }

  /** A text that some program keeps at the net; "" where there is none. */
  text(key: string): string {
    const { library } = this;
    return library.ask((call) =>
      library.withText(key, (at) => library.text(call["GetNetText_bn"]!(this.core.pointer, at))),
    );
  }

  /** Keeps a text at the net, which is saved with it; "" removes it. */
  setText(key: string, text: string): void {
    const { library } = this;
    library.ask((call) =>
      library.withText(key, (at) =>
        library.withText(text, (value) => call["SetNetText_bn"]!(this.core.pointer, at, value)),
      ),
    );
  }

  /** All nodes, parents before their children: the same objects each time. */
  get nodes(): readonly Node[] {
    return this.core.nodes;
  }

  /** The node of that name or original spelling; a BravicError where there is none. */
  node(name: NodeRef): Node {
    return this.core.get(name);
  }

  /** The same, but null where there is none. */
  find(name: string): Node | null {
    return this.core.find(name);
  }

  /** Whether there are decisions or utilities. */
  get isDecisionNetwork(): boolean {
    return (this.hasDecisions ??= this.nodes.some((node) => node.kind === "decision" || node.kind === "utility"));
  }

  // ---- Findings ----

  /**
   * Enters what was found, beside what was before: a state, or how probable the observation is in each state. What
   * contradicts that is refused, here or when beliefs are asked for.
   */
  enter(node: NodeRef, finding: Finding): void {
    const entered = this.core.get(node);
    if (typeof finding === "string" || typeof finding === "number") {
      this.change1((call) => call["EnterFinding_bn"]!(entered.pointer, entered.state(finding)));
    } else {
      const weights = likelihoodOf(entered, finding);
      this.change1((call) =>
        this.library.withFloats(weights, (at) => call["EnterNodeLikelihood_bn"]!(entered.pointer, at)),
      );
    }
  }

  /** Enters it in place of the node's own findings: one change for undo; where it is refused they stay. */
  replace(node: NodeRef, finding: Finding): void {
    this.change(() => {
      this.retract(node);
      this.enter(node, finding);
    });
  }

  /** Enters a number: of a continuous node, or of one whose states stand for numbers. */
  enterValue(node: NodeRef, value: number): void {
    const entered = this.core.get(node);
    this.change1((call) => call["EnterNodeValue_bn"]!(entered.pointer, value));
  }

  /** Enters that the node is not in that state. */
  exclude(node: NodeRef, state: State): void {
    const entered = this.core.get(node);
    this.change1((call) => call["EnterFindingNot_bn"]!(entered.pointer, entered.state(state)));
  }

  /** Takes back the findings of these nodes; of all nodes where none is named. */
  retract(...nodes: NodeRef[]): void {
    if (nodes.length === 0) {
      this.change1((call) => call["RetractAllFindings_bn"]!(this.core.pointer));
    } else if (nodes.length === 1) {
      const { pointer } = this.core.get(nodes[0]!);
      this.change1((call) => call["RetractNodeFindings_bn"]!(pointer));
    } else {
      this.change(() => nodes.forEach((node) => this.retract(node)));
    }
  }

  /** What was found, in the order of the nodes. */
  get findings(): ReadonlyMap<Node, Found> {
    const found = new Map<Node, Found>();
    for (const node of this.nodes) {
      const { finding } = node;
      if (finding) found.set(node, finding);
    }
    return found;
  }

  // ---- Beliefs ----

  /** Prepares the net for beliefs, which otherwise happens when they are first asked for. */
  compile(): void {
    this.askCompiled(() => undefined);
  }

  /** What compiling and all beliefs would take, before any of it is had. */
  estimate(): Estimate {
    return this.library.within(24, (at) => {
      this.library.ask((call) => call["EstimateCompile_bn"]!(this.core.pointer, at, at + 8, at + 16));
      const [entries, bytes, seconds] = this.library.doubles(at, 3);
      return { entries: entries!, bytes: bytes!, seconds: seconds! };
    });
  }

  /** The junction tree, a line for each clique. */
  get tree(): string {
    return this.askCompiled((call) => this.library.text(call["JunctionTreeReport_bn"]!(this.core.pointer)));
  }

  /**
   * The probabilities of one node's states given all findings. In a decision network decisions are as their tables say,
   * and where they have none every choice is equally probable.
   */
  beliefs(node: NodeRef): Float32Array {
    const asked = this.core.get(node);
    if (this.isDecisionNetwork) return this.policy.beliefs(asked);
    return this.askCompiled((call) =>
      this.library.floats(call["GetNodeBeliefs_bn"]!(asked.pointer), asked.numStates).slice(),
    );
  }

  /**
   * Those of all nodes in one array, in the order of `nodes`: those of nodes[i] from beliefOffsets[i] to
   * beliefOffsets[i + 1]. `into` is used again where it has that length.
   */
  allBeliefs(into?: Float64Array): Float64Array {
    const offsets = this.beliefOffsets;
    const size = offsets[offsets.length - 1]!;
    const beliefs = into?.length === size ? into : new Float64Array(size);
    const { nodes } = this;
    const policy = this.isDecisionNetwork ? this.policy : null;
    if (policy) {
      nodes.forEach((node, i) => {
        if (offsets[i + 1]! > offsets[i]!) beliefs.set(policy.beliefs(node), offsets[i]!);
      });
      return beliefs;
    }
    this.askCompiled((call) => {
      for (let i = 0, start = 0; i < nodes.length; ++i) {
        const end = offsets[i + 1]!;
        if (end === start) continue;
        const at = call["GetNodeBeliefs_bn"]!(nodes[i]!.pointer);
        if (start === 0 && this.library.hasFailed) return;
        beliefs.set(this.library.floats(at, end - start), start);
        start = end;
      }
    });
    return beliefs;
  }

  /** Where the beliefs of each node begin in allBeliefs, and where the last end; those without beliefs have no room. */
  get beliefOffsets(): Int32Array {
    if (!this.offsets) {
      const offsets = new Int32Array(this.nodes.length + 1);
      this.nodes.forEach((node, i) => {
        const hasBeliefs = node.kind === "nature" || node.kind === "decision";
        offsets[i + 1] = offsets[i]! + (hasBeliefs ? node.numStates : 0);
      });
      this.offsets = offsets;
    }
    return this.offsets;
  }

  /** The probability of all findings together; 0 where they contradict each other. */
  get probability(): number {
    if (this.isDecisionNetwork) return this.policy.net.probability;
    return this.askCompiled((call) => call["CaseProbability_bn"]!(this.core.pointer), CONTRADICTION);
  }

  /** Its natural logarithm, however small it is; -Infinity for a contradiction. */
  get logProbability(): number {
    if (this.isDecisionNetwork) return this.policy.net.logProbability;
    const { library } = this;
    return library.infinite(
      this.askCompiled((call) => call["CaseLogProbability_bn"]!(this.core.pointer), CONTRADICTION),
    );
  }

  /**
   * Of a decision network, a net that holds the same findings, in which decisions are chance nodes that act as their tables
   * say and utilities are gone: all questions can be asked of it. It belongs to this one, and holds until this is changed.
   */
  get underPolicy(): Net {
    return this.policy.net;
  }

  private get policy(): PolicyNet {
    return (this.policyNet ??= new PolicyNet(this));
  }

  // ---- Decisions ----

  /**
   * Finds the best decisions, whose tables are set as one change, and answers the expected utility. "full": nothing is
   * forgotten; "limited": a decision knows its parents alone; by default full where that can be, else limited.
   */
  decide(method?: "full" | "limited"): number {
    const solve = (number: number): number =>
      this.library.infinite(this.change1((call) => call["SolveDecisions_bn"]!(this.core.pointer, number)));
    if (method === "limited") return solve(0);
    try {
      return solve(1);
    } catch (error) {
      const isLimited =
        error instanceof BravicError && [DECISIONS_NOT_ORDERED, POLICY_NEEDS_LINK].includes(error.number);
      if (method || !isLimited) throw error;
      return solve(0);
    }
  }

  /** What the present decisions promise given the findings; null where there are none, or they are not all made. */
  get expectedUtility(): number | null {
    if (!this.nodes.some((node) => node.kind === "utility")) return null;
    try {
      const { library } = this;
      return library.number(library.ask((call) => call["GetExpectedUtility_bn"]!(this.core.pointer)));
    } catch (error) {
      if (error instanceof BravicError) return null;
      throw error;
    }
  }

  /** What each choice of a decision is worth given the findings, all else being as it is. Changes nothing. */
  choices(decision: NodeRef): Choice[] {
    const node = this.core.get(decision);
    if (node.kind !== "decision") refuse(`node '${node.name}' is no decision`);
    return Array.from({ length: node.numStates }, (_, state) =>
      this.forNow(() => {
        this.retract(node);
        chooseAlways(node, state);
        return { state, utility: this.expectedUtility };
      }),
    );
  }

  /** Makes a decision: a finding in place of its findings and its table, as one change for undo. */
  choose(decision: NodeRef, state: State): void {
    const node = this.core.get(decision);
    if (node.kind !== "decision") refuse(`node '${node.name}' is no decision`);
    this.change(() => {
      this.retract(node);
      this.library.ask((call) => call["DeleteNodeRelation_bn"]!(node.pointer));
      this.enter(node, state);
    });
  }

  /** By how much the expected utility rises if the node is known at that decision and later. */
  valueOfObserving(node: NodeRef, decision: NodeRef): number {
    const [observed, decided] = [this.core.get(node), this.core.get(decision)];
    return this.library.ask((call) => call["ValueOfObserving_bn"]!(observed.pointer, decided.pointer));
  }

  // ---- Random cases ----

  /**
   * Random cases that agree with the findings, as comma-separated text with a header line, nodes and states as other
   * programs spell them. nodes: by default all that have a state or value to be drawn; seed: of the same cases each time.
   */
  sampleText(count: number, options: { nodes?: readonly NodeRef[]; seed?: number } = {}): string {
    const { library } = this;
    const drawn = options.nodes?.map((node) => this.core.get(node)) ?? this.nodes.filter((node) => node.kind === "nature");
    if (!this.isDecisionNetwork) this.compile();
    const text = library.written((file) => {
      if (options.seed !== undefined) library.call["SeedRandom_ns"]!(options.seed, library.env);
      this.core.withList(drawn, (list) => library.call["GenerateCases_bn"]!(list, count, file, -1, 0, 0));
    });
    return commaSeparated(text, drawn);
  }

  // ---- Changes ----

  /** Makes one step for undo of what is done within; an exception takes all of it back. */
  change<T>(what: () => T): T {
    return this.changing(what, true);
  }

  private forNow<T>(what: () => T): T {
    return this.changing(what, false);
  }

  private changing<T>(what: () => T, keep: boolean): T {
    const { pointer } = this.core;
    this.library.ask((call) => call["BeginChanges_bn"]!(pointer));
    let isKept = false;
    try {
      const answer = what();
      isKept = keep;
      return answer;
    } finally {
      if (!this.core.isFree) {
        this.library.ask((call) => call["EndChanges_bn"]!(pointer, isKept ? 1 : 0));
        if (!isKept) this.structureChanged();
      }
    }
  }

  /** Takes the last change back; false where there is none to be taken back. */
  undo(): boolean {
    return this.step("UndoLastChange_bn");
  }

  /** Makes what was undone again. */
  redo(): boolean {
    return this.step("RedoLastChange_bn");
  }

  private step(name: string): boolean {
    const isDone = this.change1((call) => call[name]!(this.core.pointer)) === 1;
    if (isDone) this.structureChanged();
    return isDone;
  }

  /** One call that changes the net, but neither nodes nor links. */
  private change1<T>(what: (call: Library["call"]) => T): T {
    this.policyNet = null;
    return this.library.ask(what);
  }

  private structureChanged(): void {
    this.policyNet = null;
    this.offsets = null;
    this.hasDecisions = null;
    this.core.structureChanged();
  }

  // ---- Texts to be saved ----

  /** The net as a file of that format has it. What the format cannot hold is warned of. */
  write(format: Format = "dne"): string {
    return new TextDecoder().decode(this.writeBytes(format));
  }

  /** The same, byte for byte: texts in nets may be in other encodings than UTF-8. */
  writeBytes(format: Format = "dne"): Uint8Array {
    const { library } = this;
    return library.ask((call) =>
      library.withText(format, (name) => {
        const write = (text: number, size: number) => call["WriteNetFormatText_bn"]!(this.core.pointer, name, text, size);
        const size = write(0, 0);
        if (size <= 0) return new Uint8Array();
        call["ClearErrors_ns"]!(library.env, 4); // the same warnings come again
        return library.within(size, (text) => {
          write(text, size);
          return library.bytes(text, size - 1).slice();
        });
      }),
    );
  }

  /** A net of its own that says the same, findings included. */
  copy(): Net {
    return Net.read(this.library, this.writeBytes(), null, "dne");
  }

  /** @internal Where anything in the text was wrong, nothing is left of the net. */
  static read(library: Library, text: Uint8Array, name: string | null, format: Format | null): Net {
    let pointer = 0;
    try {
      library.ask((call) =>
        library.withBytes(text, (bytes) =>
          library.withText(format, (formatName) =>
            library.withText(name, (netName) => {
              pointer = call["ReadNetFormatText_bn"]!(bytes, text.length, formatName, netName, library.env);
            }),
          ),
        ),
      );
    } catch (error) {
      if (pointer) library.freeNet(pointer);
      throw error;
    }
    return new Net(library, pointer);
  }

  /** Frees the net now; else it goes with the last of its objects. It and its nodes are refused from then on. */
  free(): void {
    this.policyNet = null;
    this.core.free();
  }

  get isFree(): boolean {
    return this.core.isFree;
  }

  private readText(name: string): string {
    return this.library.ask((call) => this.library.text(call[name]!(this.core.pointer)));
  }

  private writeText(name: string, text: string): void {
    this.library.ask((call) => this.library.withText(text, (at) => call[name]!(this.core.pointer, at)));
  }
}
