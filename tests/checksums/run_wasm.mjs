// node run_wasm.mjs PROGRAM [FILE]...: runs a program that was built for WebAssembly, in the folder where this runs.
import { readFile } from "node:fs/promises";
import { dirname, resolve } from "node:path";
import { WASI } from "node:wasi";

const [program, ...files] = process.argv.slice(2);
const args = files.map((file) => resolve(file));
const folders = new Set(args.map((file) => dirname(file)));
const preopens = { ".": ".", ...Object.fromEntries([...folders].map((folder) => [folder, folder])) };
const wasi = new WASI({ version: "preview1", args: [program, ...args], preopens });
const module = await WebAssembly.compile(await readFile(program));
process.exitCode = wasi.start(await WebAssembly.instantiate(module, wasi.getImportObject()));
