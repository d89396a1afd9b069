// Everything can be reached and done by the keyboard alone, and is told to those who do not see it.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { test } from "node:test";
import { close, explore, net, open, settle, stateAt } from "./pages.mjs";

const AXE = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const focused = (page) => page.evaluate(() => {
  const { activeElement: e } = document;
  return { label: e.getAttribute("aria-label") ?? e.textContent, node: Number(e.dataset.node), row: Number(e.dataset.row) };
});

/** Goes by Tab to what has that label; answers how it went. */
async function tabTo(page, label) {
  const seen = [];
  for (let i = 0; i < 40; ++i) {
    await page.keyboard.press("Tab");
    const { label: here } = await focused(page);
    seen.push(here);
    if (label.test(here)) return seen;
  }
  assert.fail(`${label} is not among ${seen.join(" | ")}`);
}

test("a case is worked on by keys alone", async () => {
  const page = await open(explore(net("chest_clinic")));
  await tabTo(page, /^Recent visit to Asia/);
  await page.keyboard.press("ArrowDown");
  await page.keyboard.press("Enter");
  assert.match(new URL(page.url()).hash, /^#VisitAsia=visit$/);
  assert.match(await page.locator(".live").textContent(), /Recent visit to Asia is visit\. Tuberculosis: present now 5\.0 percent/);

  // Arrow keys lead to every node, from whichever.
  const seen = new Set([0]);
  for (const node of seen) {
    for (const [key, row] of [["ArrowLeft", -1], ["ArrowRight", -1], ["ArrowUp", -1], ["ArrowDown", 1]]) {
      await page.focus(`[data-node="${node}"][data-row="${row}"]`);
      await page.keyboard.press(key);
      seen.add((await focused(page)).node);
    }
  }
  assert.equal(seen.size, 8);

  await page.keyboard.press("/");
  await page.keyboard.type("shortness");
  await page.keyboard.press("Enter");
  assert.match((await focused(page)).label, /^Shortness of breath/);
  await page.keyboard.press("ArrowDown");
  await page.keyboard.press("]");
  assert.match(new URL(page.url()).hash, /Dyspnea~1,0\.\d+/);
  await page.keyboard.press("Shift+Enter");
  await page.keyboard.press("Delete");
  assert.equal(new URL(page.url()).hash, "#VisitAsia=visit");
  await page.keyboard.press("Control+z");
  await page.keyboard.press("Control+z");
  assert.match(new URL(page.url()).hash, /Dyspnea/);
  await page.keyboard.press("Control+Shift+z");
  await page.keyboard.press("t");
  assert.equal(await page.locator(".node.is-target").count(), 1);

  // Tools, tabs and what they open.
  await page.keyboard.press("?");
  assert.ok(await page.locator("dialog[open]").isVisible());
  await page.keyboard.press("Escape");
  await tabTo(page, /^Node$/);
  for (const tab of ["Target", "Best", "Case"]) {
    await page.keyboard.press("ArrowRight");
    await settle(page);
    assert.equal((await focused(page)).label, tab);
  }
  await tabTo(page, /^Take back: Recent visit/);
  await page.keyboard.press("Enter");
  assert.equal(await page.evaluate(() => document.activeElement.id), "panel-body");
  const way = await tabTo(page, /Save and share/);
  assert.ok(way.some((label) => /Undo/.test(label)) && way.some((label) => /Colours/.test(label)), way.join(" | "));
  await page.keyboard.press("Enter");
  await tabTo(page, /Picture \(\.svg\)/);
  await page.keyboard.press("Escape");
  assert.match((await focused(page)).label, /Save and share/);
  await close(page);
});

for (const colorScheme of ["light", "dark"]) {
  test(`axe finds no serious fault (${colorScheme})`, async () => {
    const page = await open(explore(net("chest_clinic"), "--likelihood", "XRay=0.8,0.4"), { colorScheme, bypassCSP: true });
    await page.addScriptTag({ content: AXE });
    const check = async (what) => {
      await settle(page);
      const { violations } = await page.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
      const serious = violations.filter(({ impact }) => impact === "serious" || impact === "critical");
      assert.deepEqual(serious.map(({ id, nodes }) => `${what}: ${id} ${nodes.map((n) => n.html.slice(0, 120) + n.any.map((a) => a.message)).join("; ")}`), []);
    };
    await check("at first");
    await page.click(stateAt(1, 0));
    await page.click(stateAt(0, 1), { modifiers: ["Shift"] });
    await page.click('.title[data-node="5"]');
    await check("a node");
    await page.focus('.title[data-node="3"]');
    await page.keyboard.press("t");
    for (const tab of ["Target", "Best", "Case"]) {
      await page.getByRole("tab", { name: tab }).click();
      await check(tab);
    }
    await page.click(stateAt(5, 1));
    await check("a contradiction");
    await page.getByRole("button", { name: "Save and share" }).click();
    await check("the menu");
    await page.keyboard.press("?");
    await check("help");
    await close(page);
  });
}
