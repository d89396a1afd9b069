// A node of the picture: its title, and a row for each state with its name, a bar and a number. Every row is a button;
// what presses, drags and keys do is the picture's concern (Picture.tsx), which finds nodes and rows by their data.

import { Component } from "preact";
import type { Found } from "bravic";
import { MOST_STATES, type Box } from "../layout";
import { isExcluded } from "../model/findings";
import type { Session } from "../model/session";
import type { Variable } from "../model/variables";
import { percent, short } from "./text";

/** The row of a node's title, beside those of its states from 0. */
export const TITLE_ROW = -1;

export interface NodeBoxProps {
  readonly session: Session;
  readonly variable: Variable;
  readonly box: Box;
  readonly version: number; // of the session
  readonly isSelected: boolean;
  readonly isChanged: boolean;
  readonly bestState: number | null; // in the most probable configuration, where that is shown
  readonly activeRow: number | null; // that keys act on
}

export class NodeBox extends Component<NodeBoxProps> {
  override shouldComponentUpdate(next: NodeBoxProps): boolean {
    const now = this.props;
    return (
      next.version !== now.version || next.isSelected !== now.isSelected || next.isChanged !== now.isChanged ||
      next.bestState !== now.bestState || next.activeRow !== now.activeRow || next.box !== now.box
    );
  }

  override render({ session, variable, box, isSelected, isChanged, bestState, activeRow }: NodeBoxProps) {
    const { index, kind, title } = variable;
    const found = session.findings.get(index);
    const isConflicting = session.isConflicting(index);
    const { target } = session;
    const isTarget = target.index === index;
    const share = target.index === null || isTarget ? 0 : target.share(index);
    const classes = [
      "node", kind, found && "is-found", isSelected && "is-selected", isChanged && "is-changed",
      isConflicting && "is-conflicting", isTarget && "is-target", target.index !== null && "in-target-mode",
    ];
    return (
      <div
        class={classes.filter(Boolean).join(" ")}
        style={{ left: `${box.x}px`, top: `${box.y}px`, width: `${box.width}px`, height: `${box.height}px`, "--share": share }}
        role="group"
        aria-label={title}
      >
        <button
          type="button" class="title" data-node={index} data-row={TITLE_ROW} title={title}
          tabIndex={activeRow === TITLE_ROW ? 0 : -1}
        >
          <span class="title-text">{title}</span>
          <span class="unseen">, {aboutNode(session, variable)}</span>
          {isTarget ? <span class="badge">target</span> : null}
          {share > 0.001 ? <span class="badge quiet">{percent(share)} %</span> : null}
        </button>
        {kind === "utility" ? <Worth value={session.decisions?.utility(index) ?? null} /> : null}
        {rowsOf(session, variable, found, bestState, activeRow)}
        {variable.states.length > MOST_STATES ? (
          <div class="more">{variable.states.length - MOST_STATES} more in the panel</div>
        ) : null}
      </div>
    );
  }
}

function aboutNode(session: Session, { index, kind, states }: Variable): string {
  const what = kind === "nature" ? "" : `${kind}, `;
  return `${what}${states.length} states${session.findings.has(index) ? ", known" : ""}`;
}

function Worth({ value }: { value: number | null }) {
  return (
    <div class="worth">
      <span>expected</span>
      <b>{value === null ? "–" : short(value, 5)}</b>
    </div>
  );
}

function rowsOf(session: Session, variable: Variable, found: Found | undefined, bestState: number | null, activeRow: number | null) {
  const { index, kind, states } = variable;
  if (kind === "utility") return null;
  const isDecision = kind === "decision";
  const hasBeliefs = session.hasBeliefs(index);
  const beliefs = hasBeliefs ? session.beliefsOf(index) : null;
  const before = hasBeliefs && session.before.length === session.beliefs.length ? session.beliefsBefore(index) : null;
  const worths = isDecision && !session.contradiction ? session.decisions!.worths(index) : null;
  return states.slice(0, MOST_STATES).map((name, state) => (
    <StateRow
      key={state} index={index} state={state} name={name} found={found} isActive={activeRow === state}
      isBest={bestState === state} belief={beliefs?.[state] ?? null} before={before?.[state] ?? null}
      worth={worths ? worths[state]! : null}
    />
  ));
}

interface StateRowProps {
  readonly index: number;
  readonly state: number;
  readonly name: string;
  readonly found: Found | undefined;
  readonly isActive: boolean;
  readonly isBest: boolean;
  readonly belief: number | null;
  readonly before: number | null;
  readonly worth: number | null;
}

/** How a finding bears on a state: a word for style sheets and for those who hear the page. */
export function bearing(found: Found | undefined, state: number): "found" | "excluded" | "weighed" | "" {
  if ((found?.kind === "state" || found?.kind === "value") && found.state === state) return "found";
  if (isExcluded(found, state)) return "excluded";
  return found?.kind === "likelihood" ? "weighed" : "";
}

function StateRow({ index, state, name, found, isActive, isBest, belief, before, worth }: StateRowProps) {
  const how = bearing(found, state);
  const shown = belief === null ? "–" : percent(belief);
  const value = worth === null ? shown : short(worth, 5);
  const spoken = [worth === null ? " percent" : " utility", how, isBest && "most probable"].filter(Boolean).join(", ");
  const moved = belief !== null && before !== null && Math.abs(belief - before) >= 0.005;
  return (
    <button
      type="button" class={`state ${how}`} data-node={index} data-row={state} tabIndex={isActive ? 0 : -1}
      aria-pressed={how === "found"}
      title={belief === null ? name : `${name}: ${belief.toPrecision(6)}`}
    >
      <span class="name">{isBest ? <span class="best" aria-hidden="true">◆</span> : null}{name} </span>
      <span class="track">
        <span class="bar" style={{ transform: `scaleX(${belief ?? 0})` }} />
        {moved ? <span class="was" style={{ left: `${100 * before}%` }} /> : null}
      </span>
      <span class="value">{value}</span>
      <span class="unseen">{spoken}</span>
    </button>
  );
}
