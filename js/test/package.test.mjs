// What npm would publish: its contents, and that it works where it is installed, as the README says.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, symlinkSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";

import { blocksOf, root } from "./support.mjs";

const folder = mkdtempSync(join(tmpdir(), "bravic-npm-"));
const run = (command, args, cwd) => execFileSync(command, args, { cwd, encoding: "utf8", stdio: ["ignore", "pipe", "pipe"] });
let packed;

before(() => {
  [packed] = JSON.parse(run("npm", ["pack", "--json", "--pack-destination", folder], `${root}js`));
  writeFileSync(join(folder, "package.json"), '{"name": "host", "private": true, "type": "module"}');
  symlinkSync(`${root}examples`, join(folder, "examples"));
  run("npm", ["install", "--offline", "--no-audit", "--no-fund", join(folder, packed.filename)], folder);
});
after(() => rmSync(folder, { recursive: true }));

test("the package has what it needs and nothing else", () => {
  const files = packed.files.map(({ path }) => path);
  for (const file of ["LICENSE", "NOTICES.md", "README.md", "package.json", "dist/bravic.wasm", "dist/index.js", "dist/index.d.ts"])
    assert.ok(files.includes(file), file);
  for (const file of files) assert.match(file, /^(LICENSE|NOTICES\.md|README\.md|package\.json|dist\/[a-z]+(\.wasm|\.js|\.d\.ts))$/);
});

for (const page of ["README.md", "js/README.md", "docs/tutorials/browser.md"]) {
  test(`what ${page} shows is what comes`, () => {
    const script = blocksOf(page, "js").join("\n");
    const expected = [...script.matchAll(/console\.log\(.*\); \/\/ (.*)$/gm)].map((match) => match[1]);
    assert.ok(expected.length >= 2);
    writeFileSync(join(folder, "shown.js"), script);
    assert.deepEqual(run("node", ["shown.js"], folder).trimEnd().split("\n"), expected);
  });
}

test("types are those of a project that is as strict as can be", () => {
  writeFileSync(join(folder, "host.ts"), `import { load, BravicError, type Net, type Found } from "bravic";
const net: Net = (await load({ warn: (problem) => console.log(problem.number) })).read("", "x.bif", "bif");
const found: Found | null = net.node("A").finding;
if (found?.kind === "not") found.excluded.map((state) => state + 1);
const best: number = net.mpe(3)[0]!.probability;
// @ts-expect-error: no such format
net.write("docx");
// @ts-expect-error: nothing of the inside is to be seen
net.core;
export { best, BravicError };
`);
  const options = "--noEmit --strict --target ES2022 --module NodeNext --moduleResolution NodeNext --lib ES2022,DOM".split(" ");
  run("node", [`${root}js/node_modules/typescript/bin/tsc`, ...options, "host.ts"], folder);
});
