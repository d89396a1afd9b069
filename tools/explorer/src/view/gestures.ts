// What mouse and fingers do to the picture: a press on a state sets or retracts it, with Shift it says "not"; a bar that is
// dragged says how probable the state is to be; the ground is dragged about; the wheel and two fingers zoom.

import { TITLE_ROW } from "./NodeBox";
import { placeOf, type Active, type Picture } from "./Picture";

/** How far a press may stray and still be one. */
const SLACK = 4;
const WHEEL_SPEED = 0.0015;

interface Press {
  readonly x: number;
  readonly y: number;
  readonly place: Active | null;
  readonly track: Element | null; // of the bar under it
  kind: "press" | "pan" | "bar";
}

export class Gestures {
  private frame: HTMLElement | null = null;
  private readonly fingers = new Map<number, { x: number; y: number }>();
  private press: Press | null = null;
  private pending: number | null = null; // what a dragged bar says, until the next picture

  constructor(private readonly picture: Picture) {}

  attach(frame: HTMLElement): void {
    this.frame = frame;
    frame.addEventListener("pointerdown", this.down);
    frame.addEventListener("pointermove", this.move);
    frame.addEventListener("pointerup", this.up);
    frame.addEventListener("pointercancel", this.up);
    frame.addEventListener("click", this.click, true);
    frame.addEventListener("dblclick", this.doubleClick);
    frame.addEventListener("wheel", this.wheel, { passive: false });
    frame.addEventListener("scroll", this.keepStill);
  }

  detach(): void {
    const { frame } = this;
    if (!frame) return;
    frame.removeEventListener("pointerdown", this.down);
    frame.removeEventListener("pointermove", this.move);
    frame.removeEventListener("pointerup", this.up);
    frame.removeEventListener("pointercancel", this.up);
    frame.removeEventListener("click", this.click, true);
    frame.removeEventListener("dblclick", this.doubleClick);
    frame.removeEventListener("wheel", this.wheel);
    frame.removeEventListener("scroll", this.keepStill);
  }

  private readonly down = (event: PointerEvent): void => {
    if (event.button !== 0) return;
    this.fingers.set(event.pointerId, { x: event.clientX, y: event.clientY });
    const track = event.target instanceof Element ? event.target.closest(".track") : null;
    this.press = this.fingers.size > 1 ? null : { x: event.clientX, y: event.clientY, place: placeOf(event.target), track, kind: "press" };
  };

  private readonly move = (event: PointerEvent): void => {
    const finger = this.fingers.get(event.pointerId);
    if (!finger) return;
    const { clientX: x, clientY: y } = event;
    if (this.fingers.size === 2) this.pinch(event.pointerId, x, y);
    else if (this.press) {
      if (this.press.kind === "press" && Math.hypot(x - this.press.x, y - this.press.y) > SLACK) this.begin(event);
      if (this.press.kind === "pan") this.picture.camera.pan(x - finger.x, y - finger.y);
      if (this.press.kind === "bar") this.drag(x);
    }
    this.fingers.set(event.pointerId, { x, y });
    if (this.press?.kind !== "press") this.picture.moved();
  };

  /** A press strays: over a bar, along it, it drags the bar, else the ground. */
  private begin(event: PointerEvent): void {
    const press = this.press!;
    const isAlong = Math.abs(event.clientX - press.x) >= Math.abs(event.clientY - press.y);
    const canLean = press.track && press.place && isAlong && this.picture.props.session.canLean(press.place.index);
    press.kind = canLean ? "bar" : "pan";
    this.frame!.setPointerCapture(event.pointerId);
    this.frame!.classList.add(press.kind === "bar" ? "is-leaning" : "is-panning");
  }

  private drag(x: number): void {
    const { track, place } = this.press!;
    const { left, width } = track!.getBoundingClientRect();
    const isPending = this.pending !== null;
    this.pending = (x - left) / width;
    if (isPending) return;
    const press = this.press;
    requestAnimationFrame(() => {
      if (this.pending !== null) this.picture.props.session.leanTo(place!.index, place!.row, this.pending, press);
      this.pending = null;
    });
  }

  private pinch(moved: number, x: number, y: number): void {
    const other = [...this.fingers].find(([id]) => id !== moved)![1];
    const before = this.fingers.get(moved)!;
    const apart = Math.hypot(x - other.x, y - other.y);
    const apartBefore = Math.hypot(before.x - other.x, before.y - other.y);
    const { left, top } = this.frame!.getBoundingClientRect();
    this.picture.camera.pan((x - before.x) / 2, (y - before.y) / 2);
    if (apartBefore > 0) this.picture.camera.zoomAt({ x: (x + other.x) / 2 - left, y: (y + other.y) / 2 - top }, apart / apartBefore);
  }

  private readonly up = (event: PointerEvent): void => {
    this.fingers.delete(event.pointerId);
    this.frame!.classList.remove("is-panning", "is-leaning");
  };

  /** Comes after every press, from keys as well; what was a drag is none. */
  private readonly click = (event: MouseEvent): void => {
    const wasDragged = this.press !== null && this.press.kind !== "press";
    this.press = null;
    if (wasDragged) return event.stopPropagation();
    const { session, onSelect } = this.picture.props;
    const place = placeOf(event.target);
    if (place && place.row !== TITLE_ROW) session.press(place.index, place.row, event.shiftKey);
    else onSelect(place ? place.index : this.picture.nodeAt(event.clientX, event.clientY));
  };

  private readonly doubleClick = (event: MouseEvent): void => {
    const index = placeOf(event.target) ? null : this.picture.nodeAt(event.clientX, event.clientY);
    if (index !== null) this.picture.goTo(index, true);
  };

  private readonly wheel = (event: WheelEvent): void => {
    event.preventDefault();
    const { left, top } = this.frame!.getBoundingClientRect();
    const { camera } = this.picture;
    const steps = event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 30 : 1;
    if (event.shiftKey) camera.pan(-(event.deltaX || event.deltaY) * steps, 0);
    else {
      // A pinch of a touch pad comes as a wheel with Ctrl, in small steps.
      const speed = WHEEL_SPEED * (event.ctrlKey ? 6 : 1) * steps;
      camera.zoomAt({ x: event.clientX - left, y: event.clientY - top }, Math.exp(-event.deltaY * speed));
    }
    this.picture.moved();
  };

  /** Browsers scroll to what has the focus; here the camera does that. */
  private readonly keepStill = (): void => {
    this.frame!.scrollTo(0, 0);
  };
}
