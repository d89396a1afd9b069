// node run_wasm.mjs PROGRAM [ARGUMENTS]: runs a program that was built for WebAssembly, in the folder where this runs.
import { readFile } from "node:fs/promises";
import { WASI } from "node:wasi";

const [program, ...args] = process.argv.slice(2);
const wasi = new WASI({ version: "preview1", args: [program, ...args], preopens: { ".": ".", "..": "..", "/": "/" } });
const module = await WebAssembly.compile(await readFile(program));
process.exitCode = wasi.start(await WebAssembly.instantiate(module, wasi.getImportObject()));
