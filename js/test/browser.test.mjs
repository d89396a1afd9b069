// The same in Chromium: the package as a page loads it, and the checksums of results.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { existsSync, readFileSync, readdirSync } from "node:fs";
import { createServer } from "node:http";
import { extname, normalize } from "node:path";
import { after, before, test } from "node:test";

import { chromium } from "playwright-core";

import { benchmarks, blocksOf, readExample, root } from "./support.mjs";

const executablePath = process.env.CHROMIUM ?? "/usr/bin/chromium";
const skip = !existsSync(executablePath) && "no Chromium here";
const TYPES = { ".js": "text/javascript", ".wasm": "application/wasm", ".html": "text/html" };
const PAGES = {
  "/": "<!doctype html><title>test</title>",
  "/guarded": `<!doctype html><meta http-equiv="Content-Security-Policy"
    content="default-src 'none'; script-src 'self' 'wasm-unsafe-eval'; connect-src 'self'"><title>test</title>`,
  "/tutorial/": blocksOf("docs/tutorials/browser.md", "html")[0],
};
let server, browser, page;

/** Serves files of this tree; the benchmark nets under /benchmarks/, and under /tutorial/ what its reader puts there. */
function serve(request, response) {
  const path = normalize(new URL(request.url, "http://localhost").pathname);
  const file = path.startsWith("/benchmarks/")
    ? benchmarks + path.slice("/benchmarks/".length)
    : root + path.slice(1).replace("tutorial/bravic/", "js/dist/").replace("tutorial/", "examples/nets/");
  const content = PAGES[path] ?? (existsSync(file) && readFileSync(file));
  response.writeHead(content ? 200 : 404, { "content-type": PAGES[path] ? "text/html" : (TYPES[extname(path)] ?? "text/plain") });
  response.end(content || "");
}

before(async () => {
  if (skip) return;
  server = createServer(serve).listen(0, "127.0.0.1");
  browser = await chromium.launch({ executablePath, args: ["--no-sandbox"] });
  page = await browser.newPage();
});
after(async () => {
  await browser?.close();
  server?.close();
});

const address = (path) => `http://127.0.0.1:${server.address().port}${path}`;

test("a page has the beliefs that Node has", { skip }, async () => {
  await page.goto(address("/guarded"));
  const beliefs = await page.evaluate(async () => {
    const { load } = await import("/js/dist/index.js");
    const bytes = await (await fetch("/js/dist/bravic.wasm")).arrayBuffer();
    const text = await (await fetch("/examples/nets/chest_clinic.dne")).text();
    return Promise.all([{}, { module: bytes }].map(async (options) => {
      const net = (await load(options)).read(text);
      net.enter("Smoking", "smoker");
      net.enter("XRay", { abnormal: 0.7, normal: 0.1 });
      return [...net.allBeliefs()];
    }));
  });
  const net = readExample("chest_clinic");
  net.enter("Smoking", "smoker");
  net.enter("XRay", { abnormal: 0.7, normal: 0.1 });
  assert.deepEqual(beliefs, [[...net.allBeliefs()], [...net.allBeliefs()]]);
});

test("the tutorial's page answers as it says", { skip }, async () => {
  const text = readFileSync(`${root}docs/tutorials/browser.md`, "utf8");
  const said = [...text.slice(text.lastIndexOf("```")).matchAll(/\d+\.\d%/g)].map(([number]) => number);
  await page.goto(address("/tutorial/"));
  const shown = [];
  const read = async (number) => {
    await page.waitForFunction((value) => document.getElementById("answer").value === value, number);
    shown.push(await page.locator("#answer").textContent());
  };
  await read(said[0]);
  await page.selectOption("[name=XRay]", "abnormal");
  await read(said[1]);
  await page.selectOption("[name=Smoking]", "smoker");
  await read(said[2]);
  assert.deepEqual(shown, said);
});

/** In a page: runs the program with those files in a folder that is kept in memory. */
async function runInPage([program, files]) {
  const { WASI, File, OpenFile, ConsoleStdout, PreopenDirectory } = await import(
    "/js/node_modules/@bjorn3/browser_wasi_shim/dist/index.js"
  );
  const get = async (path) => (await fetch(path)).arrayBuffer();
  const contents = await Promise.all(files.map(async (path) => [path.split("/").pop(), new File(await get(path))]));
  const lines = [];
  const print = (line) => lines.push(line);
  const open = [new OpenFile(new File([])), ConsoleStdout.lineBuffered(print), ConsoleStdout.lineBuffered(print),
                new PreopenDirectory(".", new Map(contents))];
  const wasi = new WASI(["checksums", ...contents.map(([name]) => name)], [], open, { debug: false });
  const module = await WebAssembly.compile(await get(program));
  wasi.start(await WebAssembly.instantiate(module, { wasi_snapshot_preview1: wasi.wasiImport }));
  return lines;
}

const native = `${root}build/release/tests/checksums/checksums`;
const made = "build/wasm/tests/checksums/checksums";

test("checksums of results are those of the native build",
  { skip: skip || (!(existsSync(native) && existsSync(root + made)) && "no checksums here") }, async () => {
    const list = (folder) => readdirSync(folder).filter((file) => file.endsWith(".dne"));
    const examples = list(`${root}examples/nets`).map((file) => [`/examples/nets/${file}`, `${root}examples/nets/${file}`]);
    const others = benchmarks ? list(benchmarks).map((file) => [`/benchmarks/${file}`, benchmarks + file]) : [];
    const nets = [...examples, ...others];
    await page.goto(address("/"));
    const lines = await page.evaluate(runInPage, [`/${made}`, nets.map(([served]) => served)]);
    const expected = execFileSync(native, nets.map(([, file]) => file), { encoding: "utf8", cwd: root }).trimEnd().split("\n");
    assert.ok(expected.length > 100);
    assert.deepEqual(lines, expected);
  });
