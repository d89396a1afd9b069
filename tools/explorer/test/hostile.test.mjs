// Texts of nets are texts, whatever stands in them, and the page runs nothing but its own script.
import assert from "node:assert/strict";
import { mkdtempSync, writeFileSync } from "node:fs";
import { once } from "node:events";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "node:test";
import { close, explore, net, open, run, settle } from "./pages.mjs";

const NASTY = "</script><script>window.hit=1</script><img src=x onerror=window.hit=1><!-- ]]> \u2028 &lt;b&gt; ${hit}";
const folder = mkdtempSync(join(tmpdir(), "bravic-hostile-"));
const quoted = JSON.stringify(NASTY).replaceAll("\u2028", "\u2028");
const xml = NASTY.replaceAll("&", "&amp;").replaceAll("<", "&lt;").replaceAll('"', "&quot;").replaceAll("]]>", "]]&gt;");

// Each format with the text in every place that takes one. What a format has no place for, its names, are legal ones.
const NETS = {
  dne: `// ~->[DNET-1]->~
bnet Hostile {title = ${quoted}; comment = ${quoted};
node A {kind = NATURE; discrete = TRUE; states = (a, b); probs = (0.25, 0.75); title = ${quoted}; comment = ${quoted};};
node B {kind = NATURE; discrete = TRUE; states = (x, y); parents = (A); probs = ((0.5, 0.5), (0.1, 0.9)); title = ${quoted};};};
`,
  net: `net { name = ${quoted}; label = ${quoted}; }
node A { label = ${quoted}; states = (${quoted} "b"); position = (10 20); }
node B { label = ${quoted}; states = ("x" ${quoted}); position = (300 200); }
potential (A) { data = (0.25 0.75); }
potential (B | A) { data = ((0.5 0.5) (0.1 0.9)); }
`,
  xml: `<?xml version="1.0"?><BIF VERSION="0.3"><NETWORK><NAME>${xml}</NAME><PROPERTY>${xml}</PROPERTY>
<VARIABLE TYPE="nature"><NAME>${xml}</NAME><OUTCOME>${xml}</OUTCOME><OUTCOME>b</OUTCOME><PROPERTY>${xml}</PROPERTY></VARIABLE>
<DEFINITION><FOR>${xml}</FOR><TABLE>0.25 0.75</TABLE></DEFINITION></NETWORK></BIF>
`,
  xdsl: `<?xml version="1.0" encoding="UTF-8"?><smile version="1.0" id="H"><nodes>
<cpt id="A"><state id="a"/><state id="b"/><probabilities>0.25 0.75</probabilities></cpt></nodes>
<extensions><genie version="1.0" name="${xml}"><comment>${xml}</comment>
<node id="A"><name>${xml}</name><comment>${xml}</comment><position>10 10 90 60</position></node></genie></extensions></smile>
`,
  bif: `network "${"Hostile"}" { property note ${"= "}</script><script>window.hit=1</script>; }
variable A { type discrete [2] { "</script><script>window.hit=1</script>", b }; property title = <img src=x onerror=window.hit=1>; }
probability (A) { table 0.25, 0.75; }
`,
};

for (const [format, text] of Object.entries(NETS)) {
  test(`scripts in every text of .${format} are shown as they are written`, async () => {
    const file = join(folder, `hostile.${format}`);
    writeFileSync(file, text);
    const page = await open(explore(file));
    await page.click(".title >> nth=0");
    for (const tab of ["Case", "Target", "Best", "Node"]) await page.getByRole("tab", { name: tab }).click();
    await page.focus(".title >> nth=0");
    await page.keyboard.press("ArrowDown");
    await page.keyboard.press("Enter");
    await page.getByRole("textbox").or(page.getByRole("combobox")).first().fill("script");
    await settle(page);
    const seen = await page.evaluate(() => ({
      hit: window.hit,
      scripts: document.scripts.length,
      images: document.images.length,
      text: document.body.innerText + [...document.querySelectorAll("[title]")].map((e) => e.title).join("\n"),
    }));
    assert.equal(seen.hit, undefined);
    assert.equal(seen.scripts, 3);
    assert.equal(seen.images, 0);
    assert.ok(seen.text.includes("</script><script>window.hit=1</script>"), seen.text.slice(0, 400));
    // The picture and the net that are saved hold it as text as well.
    for (const [what, ending] of [["Picture", "svg"], ["Bravic", "dne"]]) {
      await page.getByRole("button", { name: "Save and share" }).click();
      const waiting = page.waitForEvent("download");
      await page.getByRole("button", { name: what }).click();
      const path = join(folder, `${format}-saved.${ending}`);
      await (await waiting).saveAs(path);
      if (ending === "dne") run("check", path);
      else {
        const names = await page.evaluate(async (svg) => [...new DOMParser().parseFromString(svg, "image/svg+xml").querySelectorAll("*")].map((e) => e.localName),
          (await import("node:fs")).readFileSync(path, "utf8"));
        assert.ok(names.includes("svg") && !names.includes("script") && !names.includes("parsererror") && !names.includes("img"), names.join());
      }
    }
    await close(page);
  });
}

test("the policy lets nothing be loaded and nothing else run", async () => {
  let numAsked = 0;
  const server = createServer((_, answer) => answer.end(String(++numAsked))).listen(0, "127.0.0.1");
  await once(server, "listening");
  const page = await open(explore(net("chest_clinic")));
  const seen = await page.evaluate(async (address) => {
    const script = document.createElement("script");
    script.textContent = "window.hit = 1";
    document.body.append(script);
    const image = document.createElement("img");
    image.setAttribute("onerror", "window.hit = 2");
    image.src = `${address}x.png`;
    document.body.append(image);
    const fetched = await fetch(address).then(() => "fetched", (error) => error.name);
    setTimeout("window.hit = 3"); // a text to be run, not by the driver, who may
    await new Promise((done) => setTimeout(done, 100));
    return { hit: window.hit, fetched };
  }, `http://127.0.0.1:${server.address().port}/`);
  assert.deepEqual(seen, { hit: undefined, fetched: "TypeError" });
  const blocked = page.faults.filter((fault) => /Content Security Policy/.test(fault)).length;
  assert.ok(blocked >= 3, page.faults.join("\n"));
  await page.context().close();
  server.close();
  assert.equal(numAsked, 0);
});
