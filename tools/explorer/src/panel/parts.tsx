// What all panels are made of.

import type { ComponentChildren } from "preact";
import type { Session } from "../model/session";
import type { Variable } from "../model/variables";

export interface PanelProps {
  readonly session: Session;
  readonly selected: number | null;
  /** Leads to a node in the picture, and selects it. */
  readonly onGoTo: (index: number) => void;
}

export function Section({ title, note, children }: { title: string; note?: string; children: ComponentChildren }) {
  return (
    <section>
      <h2>{title}{note ? <span class="note">{note}</span> : null}</h2>
      {children}
    </section>
  );
}

export function NodeLink({ variable, onGoTo }: { variable: Variable; onGoTo: (index: number) => void }) {
  return (
    <button type="button" class="node-link" title={variable.title} onClick={() => onGoTo(variable.index)}>
      {variable.title}
    </button>
  );
}

/** A share of a whole as a bar. */
export function Meter({ share }: { share: number }) {
  return (
    <span class="meter" aria-hidden="true">
      <span style={{ transform: `scaleX(${Math.min(Math.max(share, 0), 1)})` }} />
    </span>
  );
}
