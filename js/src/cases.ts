// Files of cases as other programs take them.

import type { Node } from "./node.js";

/** A cell as comma-separated files have it, in quotes where it has to be. */
function cell(text: string): string {
  return /[",\r\n]/.test(text) || text !== text.trim() ? `"${text.replaceAll('"', '""')}"` : text;
}

/**
 * What the library wrote of those nodes (a head, names between tabs, then a line for each case), with commas, and nodes
 * and states as other programs spell them.
 */
export function commaSeparated(written: string, nodes: readonly Node[]): string {
  const [, , ...rows] = written.split(/\r?\n/).filter((line) => line !== "");
  const spellings = nodes.map((node) => {
    const labels = node.stateLabels;
    return new Map(node.states.map((name, state) => [name, cell(labels[state]!)]));
  });
  const lines = rows.map((row) =>
    row.split("\t").map((entry, i) => (entry === "*" ? "" : (spellings[i]!.get(entry) ?? entry))).join(","),
  );
  return [nodes.map((node) => cell(node.label)).join(","), ...lines, ""].join("\n");
}
