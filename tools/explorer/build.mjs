// Makes share/bravic/explorer.html: one page with script, style and the engine inside, and a place for a net.
//   node build.mjs [--engine MODULE.wasm] [-o PAGE.html]
// The same sources make the same bytes everywhere: all that has a part in it is pinned, compression included.
import { createHash } from "node:crypto";
import { readFile, writeFile, mkdir } from "node:fs/promises";
import { dirname } from "node:path";
import { fileURLToPath } from "node:url";
import { parseArgs } from "node:util";
import { build } from "esbuild";
import { gzipSync } from "fflate";

const here = (path) => fileURLToPath(new URL(path, import.meta.url));
const { values } = parseArgs({
  options: {
    engine: { type: "string", default: here("../../build/wasm/bravic.wasm") },
    output: { type: "string", short: "o", default: here("../../share/bravic/explorer.html") },
  },
});

async function bundle(entry) {
  const { outputFiles } = await build({
    entryPoints: [here(entry)], bundle: true, minify: true, write: false, format: "iife", target: "es2022", charset: "ascii",
    legalComments: "none", jsx: "automatic", jsxImportSource: "preact", absWorkingDir: here("."),
    alias: { bravic: here("../../js/src/index.ts") },
    // The engine is inside, and looked for nowhere.
    define: { "import.meta.url": '"about:blank"' },
  });
  return outputFiles[0].text.trim();
}

/** How a policy names a text: by what it must hash to. */
const hashOf = (text) => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;

const script = await bundle("src/start.tsx");
const style = await bundle("src/style/all.css");
const policy = [
  "default-src 'none'", `script-src ${hashOf(script)} 'wasm-unsafe-eval'`, `style-src ${hashOf(style)}`, "base-uri 'none'", "form-action 'none'",
].join("; ");
const engine = Buffer.from(gzipSync(await readFile(values.engine), { level: 9, mtime: 0 })).toString("base64");
const parts = { POLICY: policy, STYLE: style, ENGINE: engine, SCRIPT: script };
const template = await readFile(here("src/template.html"), "utf8");
const page = template.replace(/@([A-Z]+)@/g, (_, name) => parts[name]);
await mkdir(dirname(values.output), { recursive: true });
await writeFile(values.output, page);
const kilobytes = (text) => `${(text.length / 1000).toFixed(0)} kB`;
console.log(`${values.output}: ${kilobytes(page)} (engine ${kilobytes(engine)}, script ${kilobytes(script)}, style ${kilobytes(style)})`);
