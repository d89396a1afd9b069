// Pages for the tests: made by the program, opened in Chromium from files, as people open them. Whatever a page asks of the
// network, says in the console or throws is a fault of the test that opened it.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { existsSync, mkdirSync, mkdtempSync } from "node:fs";
import { tmpdir } from "node:os";
import { basename, join } from "node:path";
import { fileURLToPath, pathToFileURL } from "node:url";
import { after } from "node:test";
import { chromium } from "playwright-core";

const root = fileURLToPath(new URL("../../../", import.meta.url));
const program = process.env.BRAVIC_PROGRAM ?? join(root, "build/release/tools/bravic/bravic");
const executablePath = process.env.CHROMIUM ?? "/usr/bin/chromium";
const work = mkdtempSync(join(tmpdir(), "bravic-explorer-"));

/** Nets of the examples, and larger ones that may be there. */
export const net = (name) => join(root, "examples/nets", `${name}.dne`);
export const largeNet = (name) => [process.env.BRAVIC_NETS ?? join(root, "../shared/nets")].map((folder) => join(folder, `${name}.dne`)).find(existsSync);
/** Where pictures of the page are put that are to be looked at. */
export const pictures = join(root, "build/explorer");
mkdirSync(pictures, { recursive: true });

export function run(...args) {
  return execFileSync(program, args, { encoding: "utf8", stdio: ["ignore", "pipe", "pipe"], maxBuffer: 1 << 28 });
}

/** Makes a page of a net and answers its path. */
export function explore(file, ...args) {
  const page = join(mkdtempSync(join(work, "page-")), `${basename(file)}.html`);
  run("explore", file, ...args, "-o", page);
  return page;
}

const browser = await chromium.launch({ executablePath, args: ["--no-sandbox"] });
after(() => browser.close());

/** The page that the build puts into the program. */
export const template = join(root, "share/bravic/explorer.html");

/** Opens a page; options: of the browser's context, `hash`, the address's end, and `until`, what is waited for. */
export async function open(path, { hash = "", until = ".picture", ...options } = {}) {
  const context = await browser.newContext({ viewport: { width: 1400, height: 900 }, reducedMotion: "reduce", ...options });
  const page = await context.newPage();
  const address = pathToFileURL(path).href;
  page.faults = [];
  page.on("request", (request) => {
    if (request.url().split("#")[0] !== address && !request.url().startsWith("blob:")) page.faults.push(`asked for ${request.url()}`);
  });
  page.on("pageerror", (error) => page.faults.push(error.stack));
  page.on("console", (message) => page.faults.push(message.text()));
  page.on("dialog", (dialog) => page.faults.push(`dialog: ${dialog.message()}`) && dialog.dismiss());
  await page.goto(address + hash);
  await page.waitForSelector(until, { timeout: 10_000 }).catch(async () => assert.fail(await page.textContent("body #root")));
  await settle(page);
  return page;
}

/** Closes a page and tells its faults. */
export async function close(page) {
  await page.context().close();
  assert.deepEqual(page.faults, []);
}

/** Waits until what was done is drawn. */
export const settle = (page) => page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));

export const stateAt = (node, state) => `.state[data-node="${node}"][data-row="${state}"]`;
export const titleOf = (node) => `.title[data-node="${node}"]`;

/** What the page shows of every state: "TITLE\tSTATE" -> probability. */
export async function shownBeliefs(page) {
  const shown = await page.$$eval(".node", (nodes) =>
    nodes.flatMap((node) => [...node.querySelectorAll(".state")].map((row) => {
      const [, name, value] = /^(.*): (\S+)$/.exec(row.title) ?? [null, row.title, "NaN"];
      return [`${node.getAttribute("aria-label")}\t${name}`, Number(value)];
    })));
  return new Map(shown);
}

/** The findings that the page's address holds, as options of the program. */
export function optionsOf(hash) {
  if (hash.length < 2 || hash === "#none") return [];
  return decodeURI(hash.slice(1)).split("&").flatMap((term) => {
    const [, name, sign, text] = /^(\w+)(=|!=|~|:)(.*)$/.exec(term);
    if (sign === "!=") return text.split(",").flatMap((state) => ["--not", `${name}=${state}`]);
    return [{ "=": "--finding", "~": "--likelihood", ":": "--value" }[sign], `${name}=${text}`];
  });
}

/** What the program believes: "NAME\tSTATE" -> probability; null where the findings contradict each other. */
export function believed(file, options) {
  try {
    const rows = run("beliefs", file, "--no-stored-findings", ...options).trimEnd().split("\n").map((row) => row.split("\t"));
    return new Map(rows.map(([name, state, p]) => [`${name}\t${state}`, Number(p)]));
  } catch (error) {
    assert.match(error.stderr, /inconsistent/);
    return null;
  }
}
