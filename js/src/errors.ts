// What goes wrong in the library, as JavaScript hears of it.

import type { Problem } from "./types.js";

/** The danger of records from which on a call has failed; 6 is an internal error. */
export const ERROR_DANGER = 5;

/** Numbers of errors that this package itself looks at or reports. */
export const OTHER_NET = 2016;
export const NET_GONE = 5143;
export const NODE_GONE = 5144;
export const NO_SUCH_STATE = 5106;
export const CONTRADICTION = 2078;
export const DECISIONS_NOT_ORDERED = 2265;
export const POLICY_NEEDS_LINK = 2561;

/** A call failed, and changed nothing unless its comment says so. */
export class BravicError extends Error {
  override readonly name = "BravicError";

  constructor(
    /** As in docs/errors.md, positive; 0 for what this package itself refuses. */
    readonly number: number,
    /** 5; 6 for an internal error. */
    readonly danger: number,
    message: string,
  ) {
    super(message);
  }

  /** Of several errors the first gives the number, the most dangerous one the danger; the texts of all are told. */
  static of(problems: readonly Problem[]): BravicError {
    const danger = Math.max(...problems.map((problem) => problem.danger));
    return new BravicError(problems[0]!.number, danger, problems.map((problem) => problem.message).join("\n"));
  }
}

/** Refuses what this package itself finds wrong. */
export function refuse(message: string, number = 0): never {
  throw new BravicError(number, ERROR_DANGER, message);
}
