// node bench/javascript.mjs [FOLDER OF NETS]: what the JavaScript package takes, in processor time, medians: starting the
// library, a call, and for each net reading, compiling, and all beliefs after a finding has changed. (The module is there
// after script/js.)
import { existsSync, readFileSync } from "node:fs";

import { load } from "../js/dist/index.js";

const folder = process.argv[2] ?? "../shared/nets";
const NETS = ["asia", "alarm", "hailfinder", "pigs", "munin4"];
const ROUNDS = 9;

/** Milliseconds of processor time that one run takes: the median of some rounds of so many runs. */
function measure(runs, run) {
  const rounds = Array.from({ length: ROUNDS }, () => {
    const before = process.cpuUsage();
    for (let i = 0; i < runs; ++i) run(i);
    const { user, system } = process.cpuUsage(before);
    return (user + system) / 1000 / runs;
  });
  return rounds.sort((a, b) => a - b)[ROUNDS >> 1];
}

function print(what, milliseconds) {
  const text = milliseconds < 0.1 ? `${(1000 * milliseconds).toFixed(3)} us` : `${milliseconds.toFixed(2)} ms`;
  console.log(`${what.padEnd(44)} ${text}`);
}

const before = process.cpuUsage();
const bytes = readFileSync(new URL("../js/dist/bravic.wasm", import.meta.url));
const bravic = await load({ module: bytes, warn: () => {} });
const started = process.cpuUsage(before);
print(`start, ${bytes.length} bytes of module`, (started.user + started.system) / 1000);

for (const name of NETS) {
  const file = `${folder}/${name}.dne`;
  if (!existsSync(file)) continue;
  const text = readFileSync(file);
  const read = () => bravic.read(text);
  const reading = measure(3, () => read().free());
  print(`${name}: read`, reading);
  print(`${name}: compile, all beliefs`, measure(1, () => {
    const net = read();
    net.allBeliefs();
    net.free();
  }) - reading);
  const net = read();
  const into = net.allBeliefs();
  const node = net.nodes[net.nodes.length >> 1];
  print(`${name}: a finding changed, all beliefs`, measure(into.length > 1000 ? 2 : 200, (i) => {
    net.replace(node, i % node.numStates);
    net.allBeliefs(into);
  }));
  if (name === "alarm") print("a call that reads a number", measure(100000, () => node.numStates));
}
