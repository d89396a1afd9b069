// The net as a picture that is moved and zoomed: links on a canvas, and the nodes in sight as elements above it. Where they
// are too small to be read they are drawn on the canvas as well, so that a large net costs no more than a small one.

import { Component, createRef } from "preact";
import { MOST_STATES, nearest, type Layout } from "../layout";
import type { Session } from "../model/session";
import { Camera } from "./camera";
import { Gestures } from "./gestures";
import { NodeBox, TITLE_ROW } from "./NodeBox";
import { Painter } from "./paint";

/** Below this nodes are drawn rather than made of elements. */
const READABLE = 0.42;
/** To which a node is brought nearer that keys or a search lead to. */
const COMFORTABLE = 0.8;
const MARGIN = 60;

/** The node and row that keys act on. */
export interface Active {
  readonly index: number;
  readonly row: number;
}

export interface PictureProps {
  readonly session: Session;
  readonly layout: Layout;
  readonly version: number;
  readonly selected: number | null;
  readonly changed: ReadonlySet<number>;
  readonly best: ReadonlyMap<number, number> | null;
  readonly onSelect: (index: number | null) => void;
}

interface State {
  readonly visible: readonly number[];
  readonly active: Active;
}

export class Picture extends Component<PictureProps, State> {
  readonly camera = new Camera();
  override state: State = { visible: [], active: { index: 0, row: TITLE_ROW } };
  private readonly frame = createRef<HTMLDivElement>();
  private readonly world = createRef<HTMLDivElement>();
  private readonly canvas = createRef<HTMLCanvasElement>();
  private readonly painter = new Painter(this.props.session, this.props.layout);
  private readonly gestures = new Gestures(this);
  private width = 1;
  private height = 1;
  private isDrawing = false;
  private wantsFocus = false;
  private observer: ResizeObserver | null = null;

  override componentDidMount(): void {
    const frame = this.frame.current!;
    this.observer = new ResizeObserver(() => this.resize());
    this.observer.observe(frame);
    this.resize();
    this.fit(READABLE + 0.13);
    this.gestures.attach(frame);
  }

  override componentWillUnmount(): void {
    this.observer?.disconnect();
    this.gestures.detach();
  }

  override componentDidUpdate(): void {
    this.draw();
    if (!this.wantsFocus) return;
    const { index, row } = this.state.active;
    const button = this.world.current!.querySelector<HTMLElement>(`[data-node="${index}"][data-row="${row}"]`);
    if (!button) return;
    this.wantsFocus = false;
    button.focus({ preventScroll: true });
  }

  private resize(): void {
    const { clientWidth, clientHeight } = this.frame.current!;
    const isLess = clientWidth < this.width || clientHeight < this.height;
    this.width = Math.max(clientWidth, 1);
    this.height = Math.max(clientHeight, 1);
    // What was chosen stays in sight when the panel takes its place.
    const { selected, layout } = this.props;
    if (isLess && selected !== null) this.camera.reveal(layout.boxes[selected]!, this.width, this.height, this.camera.zoom);
    this.moved();
  }

  // ---- what part is seen ----

  /** Shows all of the net, but not smaller than least. */
  fit = (least?: number): void => {
    this.camera.fit(this.props.layout.bounds, this.width, this.height, least);
    this.moved();
  };

  zoomBy = (factor: number): void => {
    this.camera.zoomAt({ x: this.width / 2, y: this.height / 2 }, factor);
    this.moved();
  };

  /** Leads to a node, and has its title act on keys. */
  goTo(index: number, focus: boolean): void {
    this.activate({ index, row: TITLE_ROW }, focus);
  }

  activate(active: Active, focus: boolean): void {
    this.camera.reveal(this.props.layout.boxes[active.index]!, this.width, this.height, focus ? COMFORTABLE : READABLE);
    this.wantsFocus ||= focus;
    this.setState({ active });
    this.moved();
  }

  /** The node at a point of the window, for presses where nodes are but drawn. */
  nodeAt(x: number, y: number): number | null {
    const { left, top } = this.frame.current!.getBoundingClientRect();
    const at = this.camera.toPicture({ x: x - left, y: y - top });
    const index = this.props.layout.boxes.findIndex(
      (box) => at.x >= box.x && at.x <= box.x + box.width && at.y >= box.y && at.y <= box.y + box.height,
    );
    return index < 0 ? null : index;
  }

  /** What is seen has changed: it is drawn with the window's next picture. */
  moved(): void {
    if (this.isDrawing) return;
    this.isDrawing = true;
    requestAnimationFrame(() => {
      this.isDrawing = false;
      const visible = this.visible();
      if (visible.join() !== this.state.visible.join()) this.setState({ visible });
      else this.draw();
    });
  }

  private visible(): number[] {
    if (this.camera.zoom < READABLE) return [];
    const { boxes } = this.props.layout;
    return this.props.session.variables.flatMap(({ index }) => (this.camera.sees(boxes[index]!, this.width, this.height, MARGIN) ? [index] : []));
  }

  private draw(): void {
    const world = this.world.current;
    const canvas = this.canvas.current;
    if (!world || !canvas) return;
    const { x, y, zoom } = this.camera;
    world.style.transform = `scale(${zoom}) translate(${-x}px, ${-y}px)`;
    this.painter.paint(canvas, this.camera, this.width, this.height, this.props, zoom < READABLE);
  }

  // ---- keys ----

  private onKeyDown = (event: KeyboardEvent): void => {
    if (event.altKey || event.metaKey || event.ctrlKey) return;
    const { session } = this.props;
    const { index, row } = this.state.active;
    const variable = session.variables[index];
    if (!variable) return;
    const handled = this.move(event.key) || this.act(event.key, event.shiftKey, index, row);
    if (handled) event.preventDefault();
  };

  /** Arrow keys: among the states of a node up and down, and from node to node. */
  private move(key: string): boolean {
    const { index, row } = this.state.active;
    const lastRow = this.lastRow(index);
    if (key === "ArrowDown" && row < lastRow) this.activate({ index, row: row + 1 }, true);
    else if (key === "ArrowUp" && row > TITLE_ROW) this.activate({ index, row: row - 1 }, true);
    else if (key.startsWith("Arrow")) {
      const direction = key.slice("Arrow".length).toLowerCase() as "left" | "right" | "up" | "down";
      const next = nearest(this.props.layout, index, direction);
      if (next !== null) this.activate({ index: next, row: key === "ArrowUp" ? this.lastRow(next) : TITLE_ROW }, true);
    } else return false;
    return true;
  }

  /** Of the rows that a node is shown with. */
  private lastRow(index: number): number {
    const { kind, states } = this.props.session.variables[index]!;
    return kind === "utility" ? TITLE_ROW : Math.min(states.length, MOST_STATES) - 1;
  }

  private act(key: string, shift: boolean, index: number, row: number): boolean {
    const { session, onSelect } = this.props;
    switch (key) {
      case "Enter":
        if (row === TITLE_ROW) onSelect(index);
        else session.press(index, row, shift);
        return true;
      case "Delete":
      case "Backspace":
        session.retract(index);
        return true;
      case "[":
      case "]":
        if (row !== TITLE_ROW) session.lean(index, row, key === "]" ? 0.05 : -0.05);
        return true;
      case "t":
        session.target.choose(session.target.index === index ? null : index, row === TITLE_ROW ? undefined : row);
        return true;
      default:
        return false;
    }
  }

  private onFocus = (event: FocusEvent): void => {
    const place = placeOf(event.target);
    if (place && (place.index !== this.state.active.index || place.row !== this.state.active.row)) this.setState({ active: place });
  };

  override render({ session, layout, version, selected, changed, best }: PictureProps, { visible, active }: State) {
    // The node that keys act on is always there, so that the focus is never lost.
    const shown = visible.includes(active.index) || session.variables.length === 0 ? visible : [...visible, active.index];
    return (
      <div class="picture" ref={this.frame} role="application" aria-label="The net. Arrow keys move between nodes and states, Enter sets a state, Delete takes it back."
        onKeyDown={this.onKeyDown} onFocusIn={this.onFocus}>
        <canvas ref={this.canvas} aria-hidden="true" />
        <div class={`world${visible.length ? "" : " is-far"}`} ref={this.world}>
          {shown.map((index) => (
            <NodeBox
              key={index} session={session} variable={session.variables[index]!} box={layout.boxes[index]!} version={version}
              isSelected={selected === index} isChanged={changed.has(index)} bestState={best?.get(index) ?? null}
              activeRow={active.index === index ? active.row : null}
            />
          ))}
        </div>
      </div>
    );
  }
}

/** The node and row that an element of the picture belongs to. */
export function placeOf(target: EventTarget | null): Active | null {
  const element = target instanceof Element ? target.closest<HTMLElement>("[data-node]") : null;
  return element ? { index: Number(element.dataset.node), row: Number(element.dataset.row) } : null;
}
