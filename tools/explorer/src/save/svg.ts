// The picture as an SVG file: all nodes with their beliefs, in light colours, made as elements, so that texts are texts.

import { MOST_STATES, STATE_HEIGHT, TITLE_HEIGHT, type Layout, type Point } from "../layout";
import type { Session } from "../model/session";
import type { Variable } from "../model/variables";
import { bearing } from "../view/NodeBox";
import { percent, short } from "../view/text";

const NAMESPACE = "http://www.w3.org/2000/svg";
const COLOURS = { ink: "#1b2430", quiet: "#566274", line: "#c3ccd8", link: "#98a4b5", bar: "#7ea6e0", found: "#e2a33b", surface: "#ffffff" };
/** Of letters of that size about so many points each: SVG has no ellipsis of its own. */
const LETTER_WIDTH = 6.6;

type Attributes = Readonly<Record<string, string | number>>;

function element(name: string, attributes: Attributes, ...children: (Element | string)[]): SVGElement {
  const made = document.createElementNS(NAMESPACE, name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, String(value));
  made.append(...children);
  return made;
}

function shortened(text: string, room: number): string {
  const most = Math.max(1, Math.floor(room / LETTER_WIDTH));
  return text.length <= most ? text : `${text.slice(0, most - 1)}…`;
}

function text(x: number, y: number, content: string, attributes: Attributes = {}): SVGElement {
  return element("text", { x, y, fill: COLOURS.ink, ...attributes }, content);
}

function linkPath(points: readonly Point[]): string {
  const [first, ...rest] = points;
  return `M${first!.x} ${first!.y}${rest.map(({ x, y }) => `L${x.toFixed(1)} ${y.toFixed(1)}`).join("")}`;
}

function stateRow(session: Session, variable: Variable, state: number, y: number, width: number): SVGElement[] {
  const { index, states, kind } = variable;
  const belief = session.hasBeliefs(index) ? session.beliefsOf(index)[state]! : 0;
  const how = bearing(session.findings.get(index), state);
  const worth = kind === "decision" ? session.decisions?.worths(index)[state] ?? null : null;
  const value = worth === null ? (session.hasBeliefs(index) ? percent(belief) : "–") : short(worth, 5);
  const room = 62;
  return [
    text(10, y + 16, shortened(states[state]!, 78), how === "excluded" ? { "text-decoration": "line-through" } : {}),
    element("rect", { x: 94, y: y + 6, width: room, height: 12, rx: 2, fill: "#edf1f6" }),
    element("rect", { x: 94, y: y + 6, width: (room * belief).toFixed(2), height: 12, rx: 2, fill: how ? COLOURS.found : COLOURS.bar }),
    text(width - 10, y + 16, value, { "text-anchor": "end" }),
  ];
}

function nodeGroup(session: Session, layout: Layout, variable: Variable): SVGElement {
  const { x, y, width, height } = layout.boxes[variable.index]!;
  const isFound = session.findings.has(variable.index);
  const group = element("g", { transform: `translate(${x.toFixed(1)} ${y.toFixed(1)})` });
  group.append(
    element("title", {}, variable.title),
    element("rect", { width, height, rx: 10, fill: COLOURS.surface, stroke: isFound ? COLOURS.found : COLOURS.line, "stroke-width": isFound ? 2 : 1 }),
    text(10, 22, shortened(variable.title, width - 20), { "font-weight": 600 }),
  );
  if (variable.kind === "utility") {
    const worth = session.decisions?.utility(variable.index) ?? null;
    group.append(text(10, TITLE_HEIGHT + 16, `expected ${worth === null ? "–" : short(worth, 5)}`, { fill: COLOURS.quiet }));
    return group;
  }
  variable.states.slice(0, MOST_STATES).forEach((_, state) =>
    group.append(...stateRow(session, variable, state, TITLE_HEIGHT + state * STATE_HEIGHT, width)));
  return group;
}

export function drawSvg(session: Session, layout: Layout): string {
  const { x, y, width, height } = layout.bounds;
  const svg = element("svg", {
    viewBox: [x, y, width, height].map((n) => n.toFixed(1)).join(" "), width: Math.round(width), height: Math.round(height),
    "font-family": "system-ui, sans-serif", "font-size": 12.5,
  });
  const tip = element("marker", { id: "tip", viewBox: "0 0 10 10", refX: 9, refY: 5, markerWidth: 7, markerHeight: 7, orient: "auto" });
  tip.append(element("path", { d: "M0 1 10 5 0 9Z", fill: COLOURS.link }));
  svg.append(element("defs", {}, tip));
  for (const { points } of layout.links)
    svg.append(element("path", { d: linkPath(points), fill: "none", stroke: COLOURS.link, "stroke-width": 1.5, "marker-end": "url(#tip)" }));
  for (const variable of session.variables) svg.append(nodeGroup(session, layout, variable));
  return new XMLSerializer().serializeToString(svg);
}
