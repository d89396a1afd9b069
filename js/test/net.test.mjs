// What nets and nodes tell, findings and undo, questions, texts, cases; and what is refused.
import assert from "node:assert/strict";
import { test } from "node:test";

import { BravicError, load } from "../dist/index.js";
import { bravic, example, numbered, readExample, warnings } from "./support.mjs";

const close = (a, b, tolerance = 1e-6) => assert.ok(Math.abs(a - b) < tolerance, `${a} is not ${b}`);

/** A coin, of which any texts are the names. The first side has a quarter, the last what is left. */
function coin(name, states, title = "") {
  const escaped = (text) => text.replace(/[&<>"]/g, (c) => `&#${c.charCodeAt(0)};`);
  return bravic.read(
    `<?xml version="1.0" encoding="UTF-8"?><BIF VERSION="0.3"><NETWORK><NAME>Coins</NAME><VARIABLE TYPE="nature"><NAME>${escaped(name)}</NAME>
${states.map((state) => `<OUTCOME>${escaped(state)}</OUTCOME>`).join("")}<PROPERTY>${escaped(title)}</PROPERTY></VARIABLE>
<DEFINITION><FOR>${escaped(name)}</FOR><TABLE>${states.length === 2 ? "0.25 0.75" : "0.25 0.25 0.5"}</TABLE></DEFINITION></NETWORK></BIF>`, "coins.xml");
}

test("a net tells what it is", () => {
  const net = readExample("chest_clinic");
  assert.equal(net.title, "Chest clinic");
  const node = net.node("TbOrCancer");
  assert.equal(net.node("TbOrCancer"), node);
  assert.deepEqual(node.parents.map((parent) => parent.name), ["Tuberculosis", "LungCancer"]);
  assert.ok(node.children.every((child) => child.parents.includes(node)));
  assert.ok(node.blanket.includes(node.parents[0]));
  assert.equal(node.isDeterministic, true);
  const { table } = net.node("LungCancer");
  assert.deepEqual([table.kind, ...table.shape], ["probabilities", 2, 2]);
  close(table.values[0] + table.values[1], 1);
  assert.equal(node.kind, "nature");
  assert.equal(node.levels, null);
  node.position = { x: 10.5, y: -3 };
  assert.deepEqual(net.copy().node("TbOrCancer").position, { x: 10.5, y: -3 });
  node.position = null;
  assert.equal(node.position, null);
  node.comment = "Ünïcode \u{1F680}\n\"quoted\" <b>";
  assert.equal(bravic.read(net.write()).node("TbOrCancer").comment, node.comment);
  assert.match(net.tree, /\d/);
  assert.ok(net.estimate().entries > 0);
});

test("findings of each kind are entered, told, replaced and taken back", () => {
  const net = readExample("chest_clinic");
  net.enter("Smoking", "smoker");
  net.enter("XRay", { abnormal: 0.9, normal: 0.2 });
  net.exclude("LungCancer", "absent");
  assert.deepEqual([...net.findings].map(([node, found]) => [node.name, found.kind]).sort(),
                   [["LungCancer", "state"], ["Smoking", "state"], ["XRay", "likelihood"]]);
  close(net.node("XRay").finding.likelihood[0], 0.9);
  close(net.beliefs("LungCancer")[0], 1);
  const before = net.probability;
  assert.throws(() => net.enter("Smoking", "nonsmoker"), (error) => error instanceof BravicError && error.danger === 5);
  close(net.probability, before, 1e-12);
  net.replace("Smoking", "nonsmoker");
  assert.deepEqual(net.node("Smoking").finding, { kind: "state", state: net.node("Smoking").state("nonsmoker") });
  assert.equal(net.undo(), true);
  assert.equal(net.node("Smoking").finding.state, net.node("Smoking").state("smoker"));
  assert.equal(net.redo(), true);
  assert.throws(() => net.replace("Smoking", [0, 0, 1]), /2 states, but 3 weights/);
  assert.equal(net.node("Smoking").finding.state, net.node("Smoking").state("nonsmoker"));
  net.retract("Smoking", "XRay");
  assert.deepEqual([...net.findings.keys()].map((node) => node.name), ["LungCancer"]);
  net.retract();
  assert.equal(net.findings.size, 0);
  close(net.probability, 1);
  assert.equal(net.surprise, 0);
  const three = coin("Coin", ["heads", "tails", "edge"]);
  three.exclude("Coin", "tails");
  assert.deepEqual(three.node("Coin").finding, { kind: "not", excluded: [1] });
  close(three.beliefs("Coin")[0], 1 / 3);
});

test("a step that fails half way leaves nothing", () => {
  const net = readExample("chest_clinic");
  assert.throws(() => net.change(() => {
    net.enter("Smoking", "smoker");
    net.enter("Dyspnea", "nowhere");
  }), numbered(5106));
  assert.equal(net.findings.size, 0);
  assert.equal(net.undo(), false);
});

test("findings that contradict each other are told, and beliefs come back without them", () => {
  const net = readExample("chest_clinic");
  net.enter("TbOrCancer", "false");
  assert.deepEqual(net.conflict("LungCancer", "present").map((node) => node.name), ["TbOrCancer"]);
  assert.equal(net.conflict("LungCancer", "absent"), null);
  net.enter("LungCancer", "present");
  assert.equal(net.probability, 0);
  assert.equal(net.logProbability, -Infinity);
  assert.equal(net.surprise, Infinity);
  assert.throws(() => net.allBeliefs(), numbered(2078));
  assert.deepEqual(net.contradiction().map((node) => node.name).sort(), ["LungCancer", "TbOrCancer"]);
  const explained = net.explain("Bronchitis", "present");
  assert.equal(explained.belief, null);
  assert.equal(explained.conflict.length, 2);
  net.retract("LungCancer");
  assert.equal(net.contradiction(), null);
  close(net.beliefs("LungCancer")[net.node("LungCancer").state("absent")], 1);
});

test("questions have the answers that beliefs under other findings give", () => {
  const net = readExample("chest_clinic");
  net.enter("Smoking", "smoker");
  net.enter("Dyspnea", "present");
  const present = net.node("LungCancer").state("present");
  const explained = net.explain("LungCancer", "present");
  close(explained.belief, net.beliefs("LungCancer")[present], 1e-12);
  const { without } = explained.impacts.find(({ node }) => node.name === "Smoking");
  const sensitive = net.sensitivity("LungCancer", "present", { top: 3 });
  assert.ok(Math.abs(sensitive[0].derivative) >= Math.abs(sensitive[2].derivative));
  const [a, b] = [net.node("LungCancer"), net.node("Bronchitis")];
  const joint = net.joint([a, b]);
  close(joint[2 * present] + joint[2 * present + 1], explained.belief);
  const best = net.bestStates([a, b]);
  const most = joint.indexOf(Math.max(...joint));
  assert.deepEqual([best.states[a.name], best.states[b.name]], [a.states[most >> 1], b.states[most % 2]]);
  close(best.probability, net.probability * joint[most], 1e-6);
  const [first, second] = net.mpe(2);
  assert.deepEqual({ ...net.mpe().states }, { ...first.states });
  assert.ok(first.probability >= second.probability);
  assert.equal(first.states["Smoking"], "smoker");
  const bits = net.information("LungCancer").map((each) => each.bits);
  assert.ok(bits.every((bit, i) => bit >= 0 && (i === 0 || bits[i - 1] >= bit)));
  assert.equal(net.separated(["VisitAsia"], ["Smoking"]), true);
  assert.equal(net.separated(["VisitAsia"], ["Smoking"], ["Dyspnea"]), false);
  net.retract("Smoking");
  close(without, net.beliefs("LungCancer")[present]);
});

test("many cases are answered as one by one", () => {
  const net = readExample("chest_clinic");
  const rows = [{ Smoking: "smoker" }, { Smoking: "nonsmoker", XRay: "abnormal" }, { TbOrCancer: "false", LungCancer: "present" }, {}];
  const answers = net.infer(rows, ["Bronchitis"]);
  rows.forEach((row, i) => {
    net.retract();
    for (const [node, state] of Object.entries(row)) net.enter(node, state);
    close(answers[i].logProbability === net.logProbability ? 0 : answers[i].logProbability, net.logProbability === -Infinity ? 0 : net.logProbability, 1e-5);
    if (net.probability > 0) close(answers[i].beliefs["Bronchitis"][0], net.beliefs("Bronchitis")[0]);
    else assert.deepEqual([...answers[i].beliefs["Bronchitis"]], [0, 0]);
  });
  assert.deepEqual(net.infer([]), []);
});

test("random cases agree with the findings, the same for the same seed", () => {
  const net = readExample("chest_clinic");
  net.enter("Smoking", "smoker");
  const text = net.sampleText(50, { seed: 4 });
  const [head, ...rows] = text.trimEnd().split("\n").map((line) => line.split(","));
  assert.deepEqual(head, net.nodes.map((node) => node.name));
  assert.equal(rows.length, 50);
  rows.forEach((row) => row.forEach((state, i) => assert.ok(net.nodes[i].states.includes(state))));
  assert.ok(rows.every((row) => row[head.indexOf("Smoking")] === "smoker"));
  assert.equal(net.sampleText(50, { seed: 4 }), text);
  assert.notEqual(net.sampleText(50, { seed: 5 }), text);
});

test("names and texts may be anything, also what looks like code", () => {
  const states = ['a "b", c', "</script><img src=x onerror=alert(1)>"];
  const net = coin("<script>alert(1)</script>", states, "${x} <!-- 'quoted' -->");
  const [node] = net.nodes;
  assert.equal(node.label, "<script>alert(1)</script>");
  assert.equal(net.find("<script>alert(1)</script>"), node);
  assert.deepEqual(node.stateLabels, states);
  assert.equal(node.state(states[1]), 1);
  net.enter(node, { [states[0]]: 1, [states[1]]: 0.5 });
  close(net.beliefs(node)[0], 0.25 / (0.25 + 0.375));
  const lines = net.sampleText(3, { seed: 1 }).trimEnd().split("\n");
  assert.equal(lines[0], "<script>alert(1)</script>");
  assert.ok(lines.slice(1).every((line) => line === '"a ""b"", c"' || line === states[1]));
  const named = coin("constructor", ["toString", "valueOf"]);
  assert.deepEqual(Object.keys(named.mpe().states), ["constructor"]);
  assert.throws(() => named.enter("constructor", { hasOwnProperty: 1 }), numbered(5106));
  assert.throws(() => named.find("a\0b"), /zero character/);
});

test("a net is written in every format and reads back to the same beliefs", () => {
  const net = readExample("chest_clinic");
  const expected = net.allBeliefs();
  for (const format of ["dne", "bif", "xmlbif", "net", "xdsl", "uai"]) {
    const read = bravic.read(net.write(format), "again", format);
    assert.deepEqual(read.nodes.map((node) => node.numStates), net.nodes.map((node) => node.numStates));
    read.allBeliefs().forEach((belief, i) => close(belief, expected[i]));
  }
  assert.ok(warnings.some((warning) => warning.danger === 4 && /uai|UAI/.test(warning.message)));
});

test("what is wrong in a text is told, all of it, and nothing is left", () => {
  assert.throws(() => bravic.read("no net", "x.txt"), numbered(802));
  const broken = Buffer.from(example("chest_clinic")).toString().replace("probs", "prob").replace("states", "stats");
  assert.throws(() => bravic.read(broken, "broken.dne"), (error) => /broken\.dne/.test(error.message) && error.number >= 1000);
});

test("arguments of wrong kinds do no harm", () => {
  const net = readExample("chest_clinic");
  assert.throws(() => net.find(7), TypeError);
  assert.throws(() => (net.title = 7), TypeError);
  assert.throws(() => net.enter("Smoking", null), TypeError);
  assert.throws(() => net.enter("Smoking", 0.5), numbered(5106));
  assert.throws(() => net.mpe(-1), numbered(0));
  assert.equal(net.title, "Chest clinic");
  assert.equal(net.findings.size, 0);
});

test("no handle dangles", () => {
  const net = readExample("chest_clinic");
  const node = net.node("Smoking");
  const other = readExample("chest_clinic");
  assert.throws(() => other.enter(node, 0), numbered(2016));
  net.free();
  net.free();
  assert.equal(net.isFree, true);
  assert.equal(node.isAlive, false);
  assert.throws(() => net.allBeliefs(), numbered(5143));
  for (const use of [(n) => n.name, (n) => n.states, (n) => n.table, (n) => n.finding, (n) => n.beliefs, (n) => (n.title = "x")])
    assert.throws(() => use(node), (error) => error instanceof BravicError && [5143, 5144].includes(error.number));
  close(other.probability, 1);
});

test("nets that nobody refers to give their memory back", { skip: !globalThis.gc && "needs --expose-gc" }, async () => {
  const library = await load();
  const memory = () => library.library.call.memory.buffer.byteLength;
  const text = example("chest_clinic");
  const round = async () => {
    for (let i = 0; i < 300; ++i) library.read(text).allBeliefs();
    globalThis.gc();
    await new Promise((resolve) => setTimeout(resolve, 20));
  };
  await round();
  const before = memory();
  for (let i = 0; i < 8; ++i) await round();
  assert.ok(memory() <= 2 * before, `${before} bytes became ${memory()}`);
});

test("a library that ran out of memory says so from then on", async () => {
  const library = await load();
  const net = library.read(example("chest_clinic"));
  library.library.call = { ...library.library.call, CompileNet_bn: () => { throw new WebAssembly.RuntimeError("unreachable"); } };
  assert.throws(() => net.allBeliefs(), (error) => error.danger === 6 && /unreachable/.test(error.message));
  assert.throws(() => net.name, (error) => error.danger === 6);
});
