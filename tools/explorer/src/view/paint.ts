// What is drawn on the canvas behind the nodes: all links and, where nodes are too small to be read, the nodes themselves.

import type { Box, Layout, Link, Point } from "../layout";
import type { Session } from "../model/session";
import type { Camera } from "./camera";

const ARROW = 9;
const RADIUS = 10;
/** The size of letters on the screen from which titles are drawn. */
const LEAST_LETTERS = 5.5;

export interface Marks {
  readonly selected: number | null;
  readonly changed: ReadonlySet<number>;
}

type Palette = (name: string) => string;

/** The style sheet's colours. To read one takes as long as to draw everything, so that they are kept for each theme. */
const palettes = new Map<string, Map<string, string>>();

/** Which of light and dark holds, and who says so. */
function themeNow(): string {
  return `${document.documentElement.dataset.theme} ${window.matchMedia("(prefers-color-scheme: dark)").matches}`;
}

function palette(theme: string): Palette {
  if (!palettes.has(theme)) palettes.set(theme, new Map());
  const known = palettes.get(theme)!;
  return (name) => {
    let colour = known.get(name);
    if (colour === undefined) known.set(name, (colour = getComputedStyle(document.documentElement).getPropertyValue(`--${name}`)));
    return colour;
  };
}

/** A smooth way through the points of a link (quadratic curves between the middles of its pieces). */
function trace(path: CanvasRenderingContext2D, points: readonly Point[]): void {
  const first = points[0]!;
  const last = points.at(-1)!;
  path.moveTo(first.x, first.y);
  for (let i = 1; i < points.length - 1; ++i) {
    const [here, next] = [points[i]!, points[i + 1]!];
    const end = i === points.length - 2 ? next : { x: (here.x + next.x) / 2, y: (here.y + next.y) / 2 };
    path.quadraticCurveTo(here.x, here.y, end.x, end.y);
  }
  path.lineTo(last.x, last.y);
}

function arrowHead(path: CanvasRenderingContext2D, points: readonly Point[]): void {
  const tip = points.at(-1)!;
  const before = points.at(-2)!;
  const angle = Math.atan2(tip.y - before.y, tip.x - before.x);
  path.moveTo(tip.x, tip.y);
  for (const turn of [-0.42, 0.42]) path.lineTo(tip.x - ARROW * Math.cos(angle + turn), tip.y - ARROW * Math.sin(angle + turn));
  path.closePath();
}

function boxOf({ points }: Link): Box {
  let [left, top, right, bottom] = [Infinity, Infinity, -Infinity, -Infinity];
  for (const { x, y } of points) {
    left = Math.min(left, x);
    right = Math.max(right, x);
    top = Math.min(top, y);
    bottom = Math.max(bottom, y);
  }
  return { x: left, y: top, width: right - left, height: bottom - top };
}

export class Painter {
  private readonly linkBoxes: readonly Box[];
  private painted = ""; // what the links were painted by

  constructor(private readonly session: Session, private readonly layout: Layout) {
    this.linkBoxes = layout.links.map(boxOf);
  }

  /** nodesToo: nodes are drawn here rather than as elements of the page. */
  paint(canvas: HTMLCanvasElement, camera: Camera, width: number, height: number, marks: Marks, nodesToo: boolean): void {
    const ratio = window.devicePixelRatio || 1;
    const theme = themeNow();
    const by = [camera.x, camera.y, camera.zoom, width, height, ratio, marks.selected, theme].join();
    if (!nodesToo && by === this.painted) return;
    this.painted = nodesToo ? "" : by;
    if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
      canvas.width = Math.round(width * ratio);
      canvas.height = Math.round(height * ratio);
    }
    const context = canvas.getContext("2d")!;
    const colour = palette(theme);
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.clearRect(0, 0, canvas.width, canvas.height);
    const scale = ratio * camera.zoom;
    context.setTransform(scale, 0, 0, scale, -camera.x * scale, -camera.y * scale);
    this.paintLinks(context, camera, width, height, marks, colour);
    if (nodesToo) this.paintNodes(context, camera, width, height, marks, colour);
  }

  private paintLinks(context: CanvasRenderingContext2D, camera: Camera, width: number, height: number, marks: Marks, colour: Palette): void {
    const seen = this.layout.links.filter((_, i) => camera.sees(this.linkBoxes[i]!, width, height));
    const isOfSelected = ({ from, to }: Link) => from === marks.selected || to === marks.selected;
    const lineWidth = Math.max(1.5, 0.7 / camera.zoom);
    for (const [links, name] of [[seen.filter((l) => !isOfSelected(l)), "link"], [seen.filter(isOfSelected), "accent"]] as const) {
      context.strokeStyle = context.fillStyle = colour(name);
      context.lineWidth = name === "accent" ? lineWidth * 1.4 : lineWidth;
      context.beginPath();
      for (const { points } of links) trace(context, points);
      context.stroke();
      if (camera.zoom < 0.08) continue;
      context.beginPath();
      for (const { points } of links) arrowHead(context, points);
      context.fill();
    }
  }

  private paintNodes(context: CanvasRenderingContext2D, camera: Camera, width: number, height: number, marks: Marks, colour: Palette): void {
    const { session } = this;
    // Letters as large as can be read, as far as the node has room for them.
    const letters = Math.min(Math.max(13, 10 / camera.zoom), 30);
    context.font = `600 ${letters}px system-ui, sans-serif`;
    context.textBaseline = "top";
    for (const { index, title, kind } of session.variables) {
      const box = this.layout.boxes[index]!;
      if (!camera.sees(box, width, height)) continue;
      const share = session.target.index === null ? 0 : session.target.share(index);
      context.beginPath();
      context.roundRect(box.x, box.y, box.width, box.height, RADIUS);
      context.fillStyle = colour("surface");
      context.fill();
      if (share > 0) {
        context.globalAlpha = 0.15 + 0.7 * share;
        context.fillStyle = colour("target");
        context.fill();
        context.globalAlpha = 1;
      }
      const isFound = session.findings.has(index);
      context.strokeStyle = colour(index === marks.selected ? "accent" : isFound ? "found" : marks.changed.has(index) ? "changed" : kind === "nature" ? "line-strong" : kind);
      context.lineWidth = (index === marks.selected || isFound ? 2 : 1) * Math.max(1, 0.8 / camera.zoom);
      context.stroke();
      this.paintBeliefs(context, index, box, colour(isFound ? "found-bar" : "bar"));
      if (letters * camera.zoom < LEAST_LETTERS) continue;
      context.save();
      context.clip();
      context.fillStyle = colour("ink");
      context.fillText(title, box.x + 10, box.y + 9);
      context.restore();
    }
  }

  /** Bars alone, in the place that they have in the page's own nodes. */
  private paintBeliefs(context: CanvasRenderingContext2D, index: number, box: Box, colour: string): void {
    if (!this.session.hasBeliefs(index)) return;
    const beliefs = this.session.beliefsOf(index);
    const top = box.y + 44;
    const room = box.height - 52;
    const rows = Math.min(beliefs.length, Math.floor(room / 6));
    if (rows < 1) return;
    context.fillStyle = colour;
    for (let s = 0; s < rows; ++s) context.fillRect(box.x + 10, top + (s * room) / rows, Math.max(1, (box.width - 20) * beliefs[s]!), (room / rows) * 0.7);
  }
}
