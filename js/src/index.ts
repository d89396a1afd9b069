// The package: bravic.h and bravic_formats.h in a WebAssembly module, for browsers and Node.
//
//   const bravic = await load();
//   const net = bravic.read(text, "asia.bif");
//   net.enter("Smoke", "yes");
//   net.beliefs("Lung");

import { refuse } from "./errors.js";
import { Library } from "./library.js";
import { Net } from "./net.js";
import type { Format, Problem } from "./types.js";

export { BravicError } from "./errors.js";
export { Net } from "./net.js";
export { Node } from "./node.js";
export type * from "./types.js";

export interface LoadOptions {
  /** The bytes of bravic.wasm, or what it was compiled to; by default the file beside this script. */
  readonly module?: BufferSource | WebAssembly.Module;
  /** Told of warnings and notices; by default they go to console.warn. */
  readonly warn?: (problem: Problem) => void;
}

/** The library. */
export class Bravic {
  /** Such as "1.06 ...". */
  readonly version: string;

  /** @internal */
  constructor(private readonly library: Library) {
    this.version = library.ask((call) =>
      library.within(4, (at) => {
        call["GetBravicVersion_bn"]!(library.env, at);
        return library.text(library.ints(at, 1)[0]!);
      }),
    );
  }

  /**
   * Reads a net from the text of a file, or from its bytes, as `fetch` and Node answer them. name: what messages call it, and
   * where a net without a name has its name from. format: by default what the content tells. Where anything is wrong in
   * it, all of that is thrown as one BravicError.
   */
  read(text: string | Uint8Array | ArrayBuffer, name?: string, format?: Format): Net {
    const bytes =
      typeof text === "string" ? new TextEncoder().encode(text) : text instanceof Uint8Array ? text : new Uint8Array(text);
    return Net.read(this.library, bytes, name ?? null, format ?? null);
  }
}

/** Starts the library. Each that is loaded has memory of its own, which goes when nothing refers to it any more. */
export async function load(options: LoadOptions = {}): Promise<Bravic> {
  const warn = options.warn ?? ((problem: Problem) => console.warn(problem.message));
  return new Bravic(await Library.start(await compile(options.module), warn));
}

async function compile(given: LoadOptions["module"]): Promise<WebAssembly.Module> {
  if (given instanceof WebAssembly.Module) return given;
  if (given) return WebAssembly.compile(given);
  const place = new URL("bravic.wasm", import.meta.url);
  if (place.protocol === "file:") {
    if (typeof process === "undefined") refuse("a page that is a file has to give load the module's bytes");
    const files = "node:fs/promises"; // bundlers for browsers need not find it
    const { readFile } = (await import(files)) as typeof import("node:fs/promises");
    return WebAssembly.compile(await readFile(place));
  }
  return WebAssembly.compileStreaming(fetch(place));
}
