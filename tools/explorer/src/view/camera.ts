// What part of the picture is seen: a point of it in the window's upper left corner, and how large it is drawn.

import type { Box, Point } from "../layout";

export const LEAST_ZOOM = 0.01;
export const MOST_ZOOM = 2.5;
/** The largest that a net is drawn to fill the window. */
const MOST_FITTING = 1.15;

export class Camera {
  x = 0;
  y = 0;
  zoom = 1;

  toPicture(at: Point): Point {
    return { x: this.x + at.x / this.zoom, y: this.y + at.y / this.zoom };
  }

  /** Moves by so many points of the window. */
  pan(dx: number, dy: number): void {
    this.x -= dx / this.zoom;
    this.y -= dy / this.zoom;
  }

  /** Zooms so that what is at a point of the window stays there. */
  zoomAt(at: Point, factor: number): void {
    const fixed = this.toPicture(at);
    this.zoom = Math.min(Math.max(this.zoom * factor, LEAST_ZOOM), MOST_ZOOM);
    this.x = fixed.x - at.x / this.zoom;
    this.y = fixed.y - at.y / this.zoom;
  }

  /** Shows all of a box in a window of that size, but not smaller than least. */
  fit(box: Box, width: number, height: number, least = LEAST_ZOOM): void {
    this.zoom = Math.max(Math.min(width / box.width, height / box.height, MOST_FITTING), least);
    const seenWidth = width / this.zoom;
    const seenHeight = height / this.zoom;
    this.x = box.x + (box.width - seenWidth) / 2;
    // Where not all of it has room the roots come first.
    this.y = seenHeight < box.height ? box.y : box.y + (box.height - seenHeight) / 2;
  }

  /** Moves as little as brings a box into sight, large enough to be read. */
  reveal(box: Box, width: number, height: number, leastZoom: number): void {
    const centre = { x: box.x + box.width / 2, y: box.y + box.height / 2 };
    if (this.zoom < leastZoom) {
      this.zoom = leastZoom;
      this.x = centre.x - width / this.zoom / 2;
      this.y = centre.y - height / this.zoom / 2;
      return;
    }
    const margin = 24 / this.zoom;
    const right = this.x + width / this.zoom - margin;
    const bottom = this.y + height / this.zoom - margin;
    if (box.x + box.width > right) this.x += box.x + box.width - right;
    if (box.x < this.x + margin) this.x = box.x - margin;
    if (box.y + box.height > bottom) this.y += box.y + box.height - bottom;
    if (box.y < this.y + margin) this.y = box.y - margin;
  }

  sees(box: Box, width: number, height: number, margin = 0): boolean {
    const m = margin / this.zoom;
    return (
      box.x < this.x + width / this.zoom + m && box.x + box.width > this.x - m &&
      box.y < this.y + height / this.zoom + m && box.y + box.height > this.y - m
    );
  }
}
