// The module as the rest of the package calls it: its functions, texts and arrays into and out of its memory, and the
// frame of every call, which makes exceptions of error records. Each has one environment, and memory of its own.

import { BravicError, ERROR_DANGER, refuse } from "./errors.js";
import type { Problem } from "./types.js";
import { Exit, Surroundings } from "./wasi.js";

/** Functions of bravic.h and bravic_formats.h, and of the C library's allocator; addresses are numbers. */
type Functions = Record<string, (...args: number[]) => number>;

const INTERNAL_ERROR = 6;
const NOTICE = 3;
const FILE_NAME = "cases";
/** Traps: memory that ends, a stack that is too small. They leave a module that nobody may use again. */
const ENDS = [WebAssembly.RuntimeError, RangeError, Exit];

export class Library {
  readonly call: Functions;
  /** The environment. */
  readonly env: number;
  readonly undefined: number;
  readonly infinity: number;
  private readonly memory: WebAssembly.Memory;
  private readonly decoder = new TextDecoder();
  private readonly encoder = new TextEncoder();
  private ended: string | null = null;
  private view: DataView;

  static async start(module: WebAssembly.Module, warn: (problem: Problem) => void): Promise<Library> {
    const surroundings = new Surroundings((line) => warn({ number: 0, danger: NOTICE, message: line }));
    const instance = await WebAssembly.instantiate(module, surroundings.imports);
    return new Library(instance, surroundings, warn);
  }

  private constructor(
    instance: WebAssembly.Instance,
    private readonly surroundings: Surroundings,
    private readonly warn: (problem: Problem) => void,
  ) {
    this.call = instance.exports as unknown as Functions;
    this.memory = instance.exports["memory"] as WebAssembly.Memory;
    surroundings.memory = this.memory;
    this.view = new DataView(this.memory.buffer);
    this.call["_initialize"]!();
    this.env = this.call["NewBravicEnviron_bn"]!();
    const MESSAGE_SIZE = 256;
    this.within(MESSAGE_SIZE, (message) => {
      if (this.call["InitBravic_bn"]!(this.env, message) < 0) refuse(this.text(message));
    });
    this.undefined = this.exportedNumber(instance, "undef_dbl_ns");
    this.infinity = this.exportedNumber(instance, "inf_dbl_ns");
  }

  private exportedNumber(instance: WebAssembly.Instance, name: string): number {
    return this.double((instance.exports[name] as WebAssembly.Global).value as number);
  }

  // ---- Calls ----

  /**
   * Runs what calls the library. Where that leaves errors, they are thrown together, but for those of the number
   * expected; warnings and notices are told.
   */
  ask<T>(what: (call: Functions) => T, expected = -1): T {
    if (this.ended) this.refuseEnded();
    let answer: T;
    try {
      answer = what(this.call);
    } catch (reason) {
      if (ENDS.some((kind) => reason instanceof kind)) this.end((reason as Error).message);
      this.call["ClearErrors_ns"]!(this.env, INTERNAL_ERROR);
      throw reason;
    }
    const problems = this.call["GetError_ns"]!(this.env, 0, 0) ? this.takeProblems() : [];
    const errors = problems.filter((problem) => problem.danger >= ERROR_DANGER && problem.number !== expected);
    for (const problem of problems) {
      if (problem.danger < ERROR_DANGER && (problem.danger > NOTICE || errors.length === 0)) this.warn(problem);
    }
    if (errors.length > 0) throw BravicError.of(errors);
    return answer;
  }

  /** Whether a call within this one has left an error. */
  get hasFailed(): boolean {
    return this.call["GetError_ns"]!(this.env, ERROR_DANGER, 0) !== 0;
  }

  private takeProblems(): Problem[] {
    const problems: Problem[] = [];
    for (let record = 0; (record = this.call["GetError_ns"]!(this.env, NOTICE, record)) !== 0; ) {
      problems.push({
        number: this.call["ErrorNumber_ns"]!(record),
        danger: this.call["ErrorDanger_ns"]!(record),
        message: this.text(this.call["ErrorMessage_ns"]!(record)),
      });
    }
    this.call["ClearErrors_ns"]!(this.env, INTERNAL_ERROR);
    return problems;
  }

  private end(reason: string): never {
    this.ended = reason;
    this.refuseEnded();
  }

  private refuseEnded(): never {
    throw new BravicError(0, INTERNAL_ERROR, `the library cannot go on (${this.ended}): load it anew`);
  }

  /** Frees a net that nobody refers to any more. */
  freeNet(net: number): void {
    if (!this.ended) this.call["FreeNet_bn"]!(net);
  }

  // ---- Memory ----

  /** Runs something with so many bytes of the module's memory, which are aligned for any number. */
  within<T>(bytes: number, what: (at: number) => T): T {
    const at = bytes < 2 ** 31 ? this.call["malloc"]!(Math.max(bytes, 1)) : 0;
    if (!at) refuse(`no memory for ${bytes} bytes`);
    try {
      return what(at);
    } finally {
      if (!this.ended) this.call["free"]!(at);
    }
  }

  /** Runs something with a text that ends in a zero; with 0 for null. */
  withText<T>(text: string | null, what: (at: number) => T): T {
    if (text === null) return what(0);
    if (text.includes("\0")) refuse("a text holds a zero character");
    return this.withBytes(this.encoder.encode(text + "\0"), what);
  }

  withBytes<T>(bytes: Uint8Array, what: (at: number) => T): T {
    return this.within(bytes.length, (at) => {
      new Uint8Array(this.memory.buffer).set(bytes, at);
      return what(at);
    });
  }

  withFloats<T>(numbers: ArrayLike<number>, what: (at: number) => T): T {
    return this.within(4 * numbers.length, (at) => {
      this.floats(at, numbers.length).set(numbers);
      return what(at);
    });
  }

  withInts<T>(numbers: ArrayLike<number>, what: (at: number) => T): T {
    return this.within(4 * numbers.length, (at) => {
      this.ints(at, numbers.length).set(numbers);
      return what(at);
    });
  }

  withDoubles<T>(numbers: ArrayLike<number>, what: (at: number) => T): T {
    return this.within(8 * numbers.length, (at) => {
      this.doubles(at, numbers.length).set(numbers);
      return what(at);
    });
  }

  /** Windows on the module's memory, good until it grows: to be copied from, or filled, at once. */
  floats(at: number, count: number): Float32Array {
    return new Float32Array(this.memory.buffer, at, count);
  }

  doubles(at: number, count: number): Float64Array {
    return new Float64Array(this.memory.buffer, at, count);
  }

  ints(at: number, count: number): Int32Array {
    return new Int32Array(this.memory.buffer, at, count);
  }

  bytes(at: number, count: number): Uint8Array {
    return new Uint8Array(this.memory.buffer, at, count);
  }

  float(at: number): number {
    return this.numbers.getFloat32(at, true);
  }

  double(at: number): number {
    return this.numbers.getFloat64(at, true);
  }

  private get numbers(): DataView {
    if (this.view.buffer !== this.memory.buffer) this.view = new DataView(this.memory.buffer);
    return this.view;
  }

  text(at: number): string {
    const bytes = new Uint8Array(this.memory.buffer);
    return this.decoder.decode(bytes.subarray(at, bytes.indexOf(0, at)));
  }

  /** A double as JavaScript has it: null for one that is not defined. */
  number(value: number): number | null {
    return value === this.undefined ? null : this.infinite(value);
  }

  infinite(value: number): number {
    return Math.abs(value) === this.infinity ? Math.sign(value) * Infinity : value;
  }

  // ---- Files ----

  /** Has the library write a file of cases, and answers what it wrote. */
  written(write: (file: number) => void): string {
    this.surroundings.takeFile(FILE_NAME);
    this.ask((call) => {
      const file = this.withText(`/${FILE_NAME}`, (name) => call["FileNamed_ns"]!(name, this.env));
      if (file) write(file);
      call["FreeFileSpec_ns"]!(file);
    });
    return this.decoder.decode(this.surroundings.takeFile(FILE_NAME));
  }
}
