// What the page saves can be read by the program and says the same; decision networks promise what the program computes.
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "node:test";
import { believed, close, explore, net, open, run, settle, stateAt, template } from "./pages.mjs";

const folder = mkdtempSync(join(tmpdir(), "bravic-saved-"));

async function save(page, button, name) {
  await page.getByRole("button", { name: "Save and share" }).click();
  const waiting = page.waitForEvent("download");
  await page.getByRole("button", { name: button }).click();
  const path = join(folder, name);
  await (await waiting).saveAs(path);
  return path;
}

test("the net is saved in every format, with what was found where the format takes it", async () => {
  const page = await open(explore(net("chest_clinic")));
  await page.click(stateAt(7, 0));
  const found = ["--finding", "Dyspnea=present"];
  const expected = believed(net("chest_clinic"), found);
  for (const [button, name] of [["Bravic", "a.dne"], ["(.bif)", "a.bif"], ["XML interchange", "a.xml"], ["(.net)", "a.net"], ["XDSL", "a.xdsl"]]) {
    const path = await save(page, button, name);
    for (const [key, p] of believed(path, found)) assert.ok(Math.abs(p - expected.get(key)) < 1e-5, `${name} ${key}`);
  }
  const rows = run("beliefs", join(folder, "a.dne"), "--node", "Dyspnea");
  assert.match(rows, /Dyspnea\tpresent\t1\tfound/);
  await close(page);
});

test("cases agree with what was found, and there are as many as were asked for", async () => {
  const page = await open(explore(net("chest_clinic")));
  await page.click(stateAt(7, 0));
  await page.getByRole("button", { name: "Save and share" }).click();
  await page.getByLabel("How many cases").fill("250");
  await page.getByRole("button", { name: "Save and share" }).click();
  const [head, ...cases] = readFileSync(await save(page, "Random cases", "cases.csv"), "utf8").trimEnd().split("\n");
  const column = head.split(",").indexOf("Dyspnea");
  assert.equal(cases.length, 250);
  assert.ok(cases.every((row) => row.split(",")[column] === "present"));
  await close(page);
});

test("the page without a net opens files, and says what is wrong with those that are none", async () => {
  const page = await open(template, { until: ".opening" });
  await page.setInputFiles("input[type=file]", { name: "none.bif", mimeType: "text/plain", buffer: Buffer.from("network {") });
  await page.waitForSelector(".problem");
  const path = join(folder, "opened.xdsl");
  run("convert", net("chest_clinic"), path);
  await page.setInputFiles("input[type=file]", path);
  await page.waitForSelector(".picture");
  await settle(page);
  assert.equal(await page.locator(".node").count(), 8);
  await close(page);
});

test("decisions promise what the program says, before and after they are made", async () => {
  const promised = async (page) => Number((await page.locator(".figure").first().textContent()).replace("−", "-"));
  for (const name of ["umbrella", "oil_wildcatter", "oil_wildcatter_two_utilities"]) {
    const utility = (...args) => Number(/expected utility\t(\S+)/.exec(run("decide", net(name), ...args))[1]);
    const page = await open(explore(net(name)));
    assert.ok(Math.abs((await promised(page)) - utility()) < 1e-3, name);
    // Every choice of the first decision: what its row says is what is promised once it is made.
    const decision = page.locator(".node.decision").first();
    const numChoices = await decision.locator(".state").count();
    for (let choice = 0; choice < numChoices; ++choice) {
      const row = decision.locator(".state").nth(choice);
      const worth = Number((await row.locator(".value").textContent()).replace("−", "-"));
      await row.click();
      await settle(page);
      const [term] = decodeURI(new URL(page.url()).hash).slice(1).split("&");
      assert.ok(Math.abs((await promised(page)) - utility("--finding", term)) < 1e-3, `${name} ${term}`);
      if (name === "oil_wildcatter" && !Number.isNaN(worth)) assert.ok(Math.abs((await promised(page)) - worth) < 0.01, `${term}: ${worth}`);
      await row.click();
      await settle(page);
    }
    await close(page);
  }
});
