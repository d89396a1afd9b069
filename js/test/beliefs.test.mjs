// Beliefs against exact ones, against the program, and of decision networks.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { existsSync, readFileSync } from "node:fs";
import { test } from "node:test";

import { benchmarkNames, benchmarks, bravic, readBenchmark, readExample, root } from "./support.mjs";

const EXACT = 2e-6;
const program = process.env.BRAVIC_PROGRAM ?? `${root}build/release/tools/bravic/bravic`;

/** Largest difference between the net's beliefs, in one array, and those of each node. */
function worstDifference(net, expected) {
  const beliefs = net.allBeliefs();
  let worst = 0;
  net.nodes.forEach((node, i) => {
    expected[node.name].forEach((probability, state) => {
      worst = Math.max(worst, Math.abs(beliefs[net.beliefOffsets[i] + state] - probability));
    });
  });
  return worst;
}

test("beliefs are those that are known exactly", { skip: !benchmarks && "no benchmark nets here" }, async (t) => {
  for (const name of benchmarkNames) {
    await t.test(name, () => {
      const net = readBenchmark(name);
      const { cases } = JSON.parse(readFileSync(`${benchmarks}expected/${name}.json`, "utf8"));
      for (const { findings, log_probability: logProbability, beliefs } of cases) {
        net.retract();
        for (const [node, state] of Object.entries(findings)) net.enter(node, state);
        const worst = worstDifference(net, beliefs);
        assert.ok(worst < EXACT, `${name} with ${Object.keys(findings).length} findings: ${worst}`);
        const error = Math.abs(net.logProbability - logProbability);
        assert.ok(error < 1e-5 * Math.max(1, Math.abs(logProbability)), `${name}: ${error}`);
      }
      net.free();
    });
  }
});

/** What the program says of the same findings: text with six digits for each node and state, and for the findings. */
function askProgram(file, options) {
  const rows = execFileSync(program, ["beliefs", file, ...options], { encoding: "utf8", stdio: "pipe" }).trim().split("\n");
  return new Map(rows.map((row) => row.split("\t")).map(([node, state, belief]) => [`${node} ${state}`, Number(belief)]));
}

/** A finding of some kind entered into the net, and the same as an option of the program. */
function enterRandom(net, node, draw) {
  const state = draw(node.numStates);
  const [named, weights] = [`${node.name}=${node.states[state]}`, node.states.map(() => (1 + draw(8)) / 8)];
  switch (draw(3)) {
    case 0: return net.enter(node, state), `--finding=${named}`;
    case 1: return net.exclude(node, node.states[state]), `--not=${named}`;
    default: return net.enter(node, weights), `--likelihood=${node.name}=${weights}`;
  }
}

test("random findings of every kind say what they say to the program", { skip: !existsSync(program) && "no program here" }, () => {
  const net = readExample("chest_clinic");
  const file = `${root}examples/nets/chest_clinic.dne`;
  let seed = 11;
  const draw = (below) => (seed = (seed * 48271) % 2147483647) % below;
  let contradictions = 0;
  for (let step = 0; step < 40; ++step) {
    net.retract();
    const chosen = new Set(Array.from({ length: 1 + draw(4) }, () => net.nodes[draw(net.nodes.length)]));
    const options = [...chosen].map((node) => enterRandom(net, node, draw));
    if (net.probability === 0) {
      ++contradictions;
      assert.throws(() => askProgram(file, options), /inconsistent/);
      continue;
    }
    const said = askProgram(file, options);
    for (const node of net.nodes) {
      node.states.forEach((state, i) => {
        const difference = Math.abs(node.beliefs[i] - said.get(`${node.name} ${state}`));
        assert.ok(difference < 1e-6, `${options}: ${node.name}=${state} differs by ${difference}`);
      });
    }
    assert.ok(Math.abs(net.probability - said.get("* findings")) < 1e-6, `${options}`);
  }
  assert.ok(contradictions < 10, `${contradictions} of 40`);
});

test("decisions act as they were found to be best, as they are made, and else any way", () => {
  const net = readExample("oil_wildcatter");
  assert.equal(net.isDecisionNetwork, true);
  assert.equal(net.expectedUtility, null);
  assert.deepEqual([...net.beliefs("Test")], [0.5, 0.5]);
  assert.ok(Math.abs(net.decide() - 22.5) < 1e-5);
  assert.ok(Math.abs(net.expectedUtility - 22.5) < 1e-5);
  assert.deepEqual([...net.beliefs("Test")], [1, 0]);
  assert.throws(() => net.beliefs("Profit"), /no beliefs/);

  const [first, second] = net.choices("Test");
  assert.ok(Math.abs(first.utility - 22.5) < 1e-5 && Math.abs(second.utility - 20) < 1e-5);
  assert.deepEqual([...net.findings.keys()], []);
  net.choose("Test", "dont_test");
  assert.deepEqual([...net.beliefs("Test")], [0, 1]);
  assert.ok(Math.abs(net.expectedUtility - 20) < 1e-5);
  assert.equal(net.undo(), true);
  assert.ok(Math.abs(net.expectedUtility - 22.5) < 1e-5);
  const offset = net.beliefOffsets[net.nodes.indexOf(net.node("Oil"))];
  assert.deepEqual([...net.allBeliefs().subarray(offset, offset + 3)], [...net.beliefs("Oil")]);
  assert.ok(net.valueOfObserving("Seismic", "Drill") >= 0);
  assert.ok(Math.abs(bravic.read(net.writeBytes()).expectedUtility - 22.5) < 1e-5);
});
