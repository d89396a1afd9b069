// Where nodes and links are drawn. Positions that the net holds are kept. Else layers are made of it, parents above their
// children (Sugiyama, Tagawa & Toda 1981; by dagre). Large nets, whose layers would be a hundred times as wide as high, are
// spread over the plane: nodes push each other away, links hold them together and draw children below their parents
// (Fruchterman & Reingold 1991; by d3-force).

import { graphlib, layout } from "@dagrejs/dagre";
import { forceLink, forceManyBody, forceSimulation, forceX, forceY } from "d3-force";
import type { Variable } from "./model/variables";

export interface Point {
  readonly x: number;
  readonly y: number;
}

export interface Box extends Point {
  readonly width: number;
  readonly height: number; // x, y: its upper left corner
}

export interface Link {
  readonly from: number;
  readonly to: number;
  readonly points: readonly Point[]; // from the parent's edge to the child's
}

export interface Layout {
  readonly boxes: readonly Box[]; // by node
  readonly links: readonly Link[];
  readonly bounds: Box;
}

export const NODE_WIDTH = 228;
export const TITLE_HEIGHT = 34;
export const STATE_HEIGHT = 24;
const PADDING = 8;
/** Of nodes with more states, the first are shown, and how many more there are. */
export const MOST_STATES = 10;
const MARGIN = 40;
/** From that many nodes on they are spread rather than put in layers. */
const LARGE = 150;

export function heightOf({ states, kind }: Variable): number {
  const rows = kind === "utility" ? 1 : Math.min(states.length, MOST_STATES) + (states.length > MOST_STATES ? 1 : 0);
  return TITLE_HEIGHT + rows * STATE_HEIGHT + PADDING;
}

export function makeLayout(variables: readonly Variable[]): Layout {
  const boxes = storedBoxes(variables);
  if (!boxes && variables.length < LARGE) return layered(variables);
  const placed = boxes ?? spread(variables);
  return around(placed, straightLinks(variables, placed));
}

/** The boxes at the positions that the net holds, spread out so far that none covers another; null where one has none. */
function storedBoxes(variables: readonly Variable[]): Box[] | null {
  const positions = variables.map(({ node }) => node.position);
  if (variables.length < 2 || positions.some((position) => !position)) return null;
  const at = positions as Point[];
  const sizes = variables.map((variable) => ({ width: NODE_WIDTH + 24, height: heightOf(variable) + 24 }));
  const scale = scaleApart(at, sizes);
  if (scale === null) return null;
  return at.map(({ x, y }, i) => ({
    x: x * scale - NODE_WIDTH / 2,
    y: y * scale - heightOf(variables[i]!) / 2,
    width: NODE_WIDTH,
    height: heightOf(variables[i]!),
  }));
}

/** By how much positions are to be multiplied so that no two boxes meet; null where two stand at the same place. */
function scaleApart(at: readonly Point[], sizes: readonly { width: number; height: number }[]): number | null {
  const MOST = 8; // beyond that the picture is mostly empty
  let scale = 1;
  for (let i = 0; i < at.length; ++i) {
    for (let j = 0; j < i; ++j) {
      const dx = Math.abs(at[i]!.x - at[j]!.x);
      const dy = Math.abs(at[i]!.y - at[j]!.y);
      const needed = Math.min((sizes[i]!.width + sizes[j]!.width) / 2 / dx, (sizes[i]!.height + sizes[j]!.height) / 2 / dy);
      if (!(needed < MOST)) return null;
      scale = Math.max(scale, needed);
    }
  }
  return scale;
}

/** Where the way from a box's middle to a point leaves the box. */
function edgeTowards(box: Box, to: Point): Point {
  const x = box.x + box.width / 2;
  const y = box.y + box.height / 2;
  const dx = to.x - x;
  const dy = to.y - y;
  const t = Math.min(box.width / 2 / Math.abs(dx || 1e-9), box.height / 2 / Math.abs(dy || 1e-9), 1);
  return { x: x + dx * t, y: y + dy * t };
}

const middle = (box: Box): Point => ({ x: box.x + box.width / 2, y: box.y + box.height / 2 });

function straightLinks(variables: readonly Variable[], boxes: readonly Box[]): Link[] {
  return variables.flatMap(({ index, parents }) =>
    parents.map((from) => {
      const [a, b] = [boxes[from]!, boxes[index]!];
      return { from, to: index, points: [edgeTowards(a, middle(b)), edgeTowards(b, middle(a))] };
    }),
  );
}

function layered(variables: readonly Variable[]): Layout {
  const graph = new graphlib.Graph();
  graph.setGraph({ nodesep: 28, ranksep: 56, edgesep: 16 });
  graph.setDefaultEdgeLabel(() => ({}));
  for (const variable of variables) graph.setNode(String(variable.index), { width: NODE_WIDTH, height: heightOf(variable) });
  for (const { index, parents } of variables) for (const parent of parents) graph.setEdge(String(parent), String(index));
  layout(graph);
  const boxes = variables.map((variable) => {
    const { x, y, width, height } = graph.node(String(variable.index)) as Box;
    return { x: x - width / 2, y: y - height / 2, width, height };
  });
  const links = variables.flatMap(({ index, parents }) =>
    parents.map((from) => ({ from, to: index, points: (graph.edge(String(from), String(index)) as { points: Point[] }).points })),
  );
  return around(boxes, links);
}

const GAP = 44;
const NUM_TICKS = 200;
const NUM_PASSES = 400;

/** A node on its way to its place: its middle, in a plane in which boxes are about as wide as high. */
interface Body {
  x: number;
  y: number;
  vy?: number;
}

function spread(variables: readonly Variable[]): Box[] {
  const heights = variables.map(heightOf);
  const meanHeight = heights.reduce((sum, height) => sum + height, 0) / heights.length;
  const stretch = NODE_WIDTH / meanHeight;
  const bodies: Body[] = variables.map(({ index }) => {
    // Around a spiral in the net's order, so that the same net is always drawn alike.
    const radius = 120 * Math.sqrt(0.5 + index);
    return { x: radius * Math.cos(2.4 * index), y: radius * Math.sin(2.4 * index) };
  });
  const links = variables.flatMap(({ index, parents }) => parents.map((source) => ({ source, target: index })));
  const wanted = NODE_WIDTH * 1.1;
  const below = (alpha: number) => {
    for (const { source, target } of links) {
      const missing = wanted - (bodies[target]!.y - bodies[source]!.y);
      if (missing <= 0) continue;
      bodies[target]!.vy! += 0.12 * alpha * missing;
      bodies[source]!.vy! -= 0.12 * alpha * missing;
    }
  };
  const ends = links.map((link) => ({ ...link }));
  forceSimulation(bodies)
    .force("links", forceLink(ends).distance(wanted))
    .force("apart", forceManyBody().strength(-4500).distanceMax(4000))
    .force("below", below)
    .force("x", forceX(0).strength(0.012))
    .force("y", forceY(0).strength(0.012))
    .stop()
    .tick(NUM_TICKS);
  const boxes = bodies.map(({ x, y }, i) => ({ x: x - NODE_WIDTH / 2, y: y / stretch - heights[i]! / 2, width: NODE_WIDTH, height: heights[i]! }));
  separate(boxes);
  return boxes;
}

/** Pushes boxes apart that meet, each pair along the shorter way, until none does or patience ends. */
function separate(boxes: { x: number; y: number; width: number; height: number }[]): void {
  for (let pass = 0; pass < NUM_PASSES; ++pass) {
    let isDone = true;
    const order = boxes.slice().sort((a, b) => a.x - b.x);
    for (let i = 0; i < order.length; ++i) {
      const a = order[i]!;
      for (let j = i + 1; j < order.length && order[j]!.x < a.x + a.width + GAP; ++j) {
        const b = order[j]!;
        const acrossBy = a.x + a.width + GAP - b.x;
        const isBelow = b.y + b.height / 2 >= a.y + a.height / 2;
        const downBy = isBelow ? a.y + a.height + GAP - b.y : b.y + b.height + GAP - a.y;
        if (acrossBy <= 0.5 || downBy <= 0.5) continue;
        isDone = false;
        if (acrossBy < downBy) {
          a.x -= acrossBy / 2;
          b.x += acrossBy / 2;
        } else {
          a.y -= ((isBelow ? 1 : -1) * downBy) / 2;
          b.y += ((isBelow ? 1 : -1) * downBy) / 2;
        }
      }
    }
    if (isDone) return;
  }
}

function around(boxes: readonly Box[], links: readonly Link[]): Layout {
  let [left, top, right, bottom] = [Infinity, Infinity, -Infinity, -Infinity];
  const hold = (x: number, y: number) => {
    left = Math.min(left, x);
    right = Math.max(right, x);
    top = Math.min(top, y);
    bottom = Math.max(bottom, y);
  };
  for (const { x, y, width, height } of boxes) {
    hold(x, y);
    hold(x + width, y + height);
  }
  for (const { points } of links) for (const { x, y } of points) hold(x, y);
  const bounds = boxes.length
    ? { x: left - MARGIN, y: top - MARGIN, width: right - left + 2 * MARGIN, height: bottom - top + 2 * MARGIN }
    : { x: 0, y: 0, width: 1, height: 1 };
  return { boxes, links, bounds };
}

/** The node nearest to one in a direction, for arrow keys; null where there is none. */
export function nearest({ boxes }: Layout, from: number, direction: "left" | "right" | "up" | "down"): number | null {
  const start = middle(boxes[from]!);
  const isAcross = direction === "left" || direction === "right";
  const sign = direction === "left" || direction === "up" ? -1 : 1;
  let best: number | null = null;
  let least = Infinity;
  boxes.forEach((box, index) => {
    const to = middle(box);
    const ahead = sign * (isAcross ? to.x - start.x : to.y - start.y);
    const aside = Math.abs(isAcross ? to.y - start.y : to.x - start.x);
    const distance = ahead + 2 * aside;
    if (index === from || ahead < 1 || distance >= least) return;
    least = distance;
    best = index;
  });
  return best;
}
