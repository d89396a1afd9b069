// What the page believes is what the program believes, after whatever was pressed, dragged, undone and sent.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { test } from "node:test";
import { believed, close, explore, net, open, optionsOf, run, settle, shownBeliefs, stateAt, titleOf } from "./pages.mjs";

const CLINIC = net("chest_clinic");
const SEED = Number(process.env.SEED ?? 1988);
const names = new Map([...readFileSync(CLINIC, "utf8").matchAll(/^node (\w+) \{[^]*?\ttitle = "(.*?)";/gm)].map(([, name, title]) => [title, name]));

/** Numbers from 0 to 1 that a seed makes (mulberry32). */
function randomNumbers(seed) {
  return () => {
    seed = (seed + 0x6d2b79f5) | 0;
    let t = Math.imul(seed ^ (seed >>> 15), 1 | seed);
    t = (t + Math.imul(t ^ (t >>> 7), 61 | t)) ^ t;
    return ((t ^ (t >>> 14)) >>> 0) / 2 ** 32;
  };
}

async function drag(page, node, state, to) {
  const box = await page.locator(`${stateAt(node, state)} .track`).boundingBox();
  const y = box.y + box.height / 2;
  await page.mouse.move(box.x + box.width * 0.5, y);
  await page.mouse.down();
  await page.mouse.move(box.x + box.width * 0.6, y);
  await page.mouse.move(box.x + box.width * to, y, { steps: 3 });
  await settle(page);
  await page.mouse.up();
}

const ACTIONS = {
  press: [8, (page, node, state) => page.click(stateAt(node, state), { position: { x: 20, y: 10 } })],
  not: [3, (page, node, state) => page.click(stateAt(node, state), { position: { x: 20, y: 10 }, modifiers: ["Shift"] })],
  drag: [4, (page, node, state, p) => drag(page, node, state, p)],
  undo: [3, (page) => page.keyboard.press("Control+z")],
  redo: [2, (page) => page.keyboard.press("Control+y")],
  retract: [1, async (page, node) => {
    await page.focus(titleOf(node));
    await page.keyboard.press("Delete");
  }],
};

const hashOf = (page) => new URL(page.url()).hash;

async function compare(page, told) {
  const expected = believed(CLINIC, optionsOf(hashOf(page)));
  assert.ok(expected, `what contradicts itself is never held: ${told}`);
  const shown = await shownBeliefs(page);
  assert.equal(shown.size, 16);
  for (const [key, p] of shown) {
    const [title, state] = key.split("\t");
    assert.ok(Math.abs(p - expected.get(`${names.get(title)}\t${state}`)) < 5e-5, `${key}: ${p} after ${told}`);
  }
}

/** What was refused is impossible for the program as well: all of what the page names is. */
async function checkRefusal(page, before, told) {
  assert.equal(hashOf(page), before, `nothing was changed by ${told}`);
  const named = await page.$$eval(".node.is-conflicting", (nodes) => nodes.map((node) => node.getAttribute("aria-label")));
  const text = await page.locator(".banner p").textContent();
  assert.ok(named.length >= 1 && named.every((title) => text.includes(title)), text);
  const isOf = (title, sign) => new RegExp(`${title} is ${sign}(\\w+)`).exec(text)?.[1];
  const options = named.flatMap((title) => {
    const not = isOf(title, "not ");
    if (not) return ["--not", `${names.get(title)}=${not}`];
    return ["--finding", `${names.get(title)}=${isOf(title, "")}`];
  });
  assert.equal(believed(CLINIC, options), null, `${text} after ${told}`);
  await page.keyboard.press("Escape");
}

test(`beliefs are the program's after each of 50 random steps (SEED=${SEED})`, async () => {
  const page = await open(explore(CLINIC));
  const random = randomNumbers(SEED);
  const wheel = Object.entries(ACTIONS).flatMap(([name, [weight]]) => Array(weight).fill(name));
  const history = [];
  for (let step = 0; step < 50; ++step) {
    const name = wheel[Math.floor(random() * wheel.length)];
    const [node, state, p] = [Math.floor(random() * 8), Math.floor(random() * 2), 0.05 + 0.9 * random()];
    history.push(`${name} ${node}.${state} ${p.toFixed(2)}`);
    const before = hashOf(page);
    await ACTIONS[name][1](page, node, state, p);
    await settle(page);
    if (await page.locator(".banner").count()) await checkRefusal(page, before, history.join(", "));
    await compare(page, history.join(", "));
  }
  await close(page);
});

test("a bar that is dragged shows what it was dragged to", async () => {
  const page = await open(explore(CLINIC));
  await drag(page, 3, 0, 0.7);
  const shown = await shownBeliefs(page);
  assert.ok(Math.abs(shown.get("Lung cancer\tpresent") - 0.7) < 0.02);
  await page.keyboard.press("Control+z"); // all of the drag is one step
  await settle(page);
  assert.ok(Math.abs((await shownBeliefs(page)).get("Lung cancer\tpresent") - 0.055) < 1e-6);
  await close(page);
});

test("a contradiction names its findings and is left by taking one back", async () => {
  const page = await open(explore(CLINIC));
  await page.click(stateAt(2, 0)); // smokes: has no part in it
  await page.click(stateAt(1, 0)); // tuberculosis
  await page.click(stateAt(5, 1)); // neither it nor cancer
  const banner = page.locator(".banner");
  const text = await banner.locator("p").textContent();
  assert.match(text, /Tuberculosis is present/);
  assert.match(text, /Tuberculosis or lung cancer is false/);
  assert.doesNotMatch(text, /Smoking/);
  assert.equal(await page.locator(".node.is-conflicting").count(), 2);
  assert.match(await page.locator(".live").textContent(), /These cannot all be true/);
  await page.getByRole("button", { name: "Take back Tuberculosis", exact: true }).click();
  await settle(page);
  assert.equal(await banner.count(), 0);
  assert.match(hashOf(page), /TbOrCancer=false/);
  assert.doesNotMatch(hashOf(page), /Tuberculosis/);
  await compare(page, "a contradiction was left");
  await close(page);
});

test("the best configuration and what would tell most are those of the program", async () => {
  const found = ["--finding", "Dyspnea=present"];
  const page = await open(explore(CLINIC, ...found));
  const rows = (...args) => run(...args, CLINIC, ...found).trimEnd().split("\n").map((row) => row.split("\t"));
  await page.getByRole("tab", { name: "Best" }).click();
  const listed = () => page.$$eval(".panel .rows li", (items) => items.map((item) => [...item.children].map((e) => e.textContent)));
  for (const [title, state] of await listed()) assert.ok(rows("mpe").some((row) => row[0] === names.get(title) && row[1] === state), title);
  await page.focus(titleOf(4));
  await page.keyboard.press("t");
  await page.getByRole("tab", { name: "Target" }).click();
  const told = (await listed()).filter((item) => item.at(-1).endsWith("bits"));
  const expected = rows("information", "--target", "Bronchitis").filter(([name]) => name !== "Bronchitis" && name !== "*");
  assert.ok(told.length >= 4);
  told.forEach(([title, , bits], i) => {
    assert.equal(names.get(title), expected[i][0]);
    const isRight = bits.startsWith("<0.001") ? expected[i][1] < 0.001 : Math.abs(parseFloat(bits) - expected[i][1]) < 0.05 * expected[i][1];
    assert.ok(isRight, `${title}: ${bits}`);
  });
  await close(page);
});

test("findings given to the program are there, and an address says others", async () => {
  const path = explore(CLINIC, "--finding", "Dyspnea=present", "--likelihood", "XRay=0.8,0.4");
  let page = await open(path);
  const shown = await shownBeliefs(page);
  const expected = believed(CLINIC, ["--finding", "Dyspnea=present", "--likelihood", "XRay=0.8,0.4"]);
  assert.ok(Math.abs(shown.get("Bronchitis\tpresent") - expected.get("Bronchitis\tpresent")) < 5e-5);
  await close(page);

  page = await open(path, { hash: "#VisitAsia=visit&Smoking~1,0.5&XRay!=normal" });
  await compare(page, "opened with an address");
  assert.equal(await page.locator(".rows li .icon").count(), 3);
  await close(page);

  page = await open(path, { hash: "#VisitAsia=visit&Nobody=x&%3Cscript%3E=1&Smoking~-1,x" });
  assert.match(await page.locator(".banner").textContent(), /Nobody=x, <script>=1, Smoking~-1,x/);
  await compare(page, "opened with a broken address");
  await close(page);
});
