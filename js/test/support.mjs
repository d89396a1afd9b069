// What the tests share: the library, loaded once, and the nets that there are.
import { existsSync, readFileSync, readdirSync } from "node:fs";
import { fileURLToPath } from "node:url";

import { load } from "../dist/index.js";

export const root = fileURLToPath(new URL("../../", import.meta.url));
export const warnings = [];
export const bravic = await load({ warn: (problem) => warnings.push(problem) });

export const example = (name) => readFileSync(`${root}examples/nets/${name}.dne`);
export const readExample = (name) => bravic.read(example(name), `${name}.dne`);

/** Folder of the benchmark nets that machines of ours keep beside the checkout, or null. */
export const benchmarks = ["../shared/nets/", "../../shared/nets/"].map((at) => root + at).find(existsSync) ?? null;
export const benchmarkNames = benchmarks
  ? readdirSync(`${benchmarks}expected`).map((file) => file.replace(".json", ""))
  : [];
export const readBenchmark = (name) => bravic.read(readFileSync(`${benchmarks}${name}.dne`), `${name}.dne`);

/** What is thrown, by its number. */
export const numbered = (number) => (error) => error.constructor.name === "BravicError" && error.number === number;

/** The blocks of a language that a page shows. */
export const blocksOf = (page, language) =>
  [...readFileSync(root + page, "utf8").matchAll(new RegExp(`^\`\`\`${language}\\n(.*?)^\`\`\``, "gms"))].map(([, block]) => block);
