// A node in question: what each finding does to its belief, and what would tell most about it.

import { percent, points, short } from "../view/text";
import { Meter, NodeLink, Section, type PanelProps } from "./parts";

const MOST_LISTED = 30;

export function TargetPanel({ session, selected, onGoTo }: PanelProps) {
  const { target } = session;
  if (target.index === null) return <Choose session={session} selected={selected} />;
  const variable = session.variables[target.index]!;
  return (
    <>
      <Section title="Target">
        <div class="target-head">
          <NodeLink variable={variable} onGoTo={onGoTo} />
          <select aria-label="State in question" value={target.state} onChange={(event) => target.choose(target.index, Number(event.currentTarget.value))}>
            {variable.states.map((name, state) => <option key={state} value={state}>{name}</option>)}
          </select>
        </div>
        <p class="figure">{session.hasBeliefs(target.index) ? `${percent(session.beliefsOf(target.index)[target.state]!)} %` : "–"}</p>
        <button type="button" class="plain" onClick={() => target.choose(null)}>No target</button>
      </Section>
      <Why session={session} onGoTo={onGoTo} />
      <WhatNext session={session} onGoTo={onGoTo} />
    </>
  );
}

function Choose({ session, selected }: Pick<PanelProps, "session" | "selected">) {
  return (
    <Section title="Target">
      <p class="quiet">Choose a node in question: the others are coloured by what they would tell about it, and here it is explained where its belief comes from.</p>
      <label class="field">
        <span>Node</span>
        <select value={selected ?? ""} onChange={(event) => session.target.choose(Number(event.currentTarget.value))}>
          <option value="" disabled>Choose a node</option>
          {session.variables.filter(({ index }) => session.hasBeliefs(index)).map(({ index, title }) => <option key={index} value={index}>{title}</option>)}
        </select>
      </label>
      {selected !== null && session.hasBeliefs(selected) ? (
        <button type="button" class="main" onClick={() => session.target.choose(selected)}>Take {session.variables[selected]!.title}</button>
      ) : null}
    </Section>
  );
}

function Why({ session, onGoTo }: Pick<PanelProps, "session" | "onGoTo">) {
  const { belief, impacts, conflict } = session.target.explain();
  if (impacts.length === 0 && !conflict) return null;
  return (
    <Section title="Why">
      {conflict ? <p>{conflict}</p> : null}
      {belief === null ? null : (
        <ul class="rows reasons">
          {impacts.map(({ index, without }) => (
            <li key={index}>
              <NodeLink variable={session.variables[index]!} onGoTo={onGoTo} />
              <span class="what">{inWords(belief - without)}; without it {percent(without)} %</span>
              <span class={`change ${belief > without ? "up" : "down"}`}>{points(belief - without)}</span>
            </li>
          ))}
        </ul>
      )}
    </Section>
  );
}

function inWords(change: number): string {
  const size = Math.abs(change);
  if (size < 0.0005) return "says nothing";
  const much = size >= 0.2 ? "strongly " : size < 0.02 ? "slightly " : "";
  return `speaks ${much}${change > 0 ? "for" : "against"} it`;
}

function WhatNext({ session, onGoTo }: Pick<PanelProps, "session" | "onGoTo">) {
  const { target } = session;
  const ranked = [...target.bits()].filter(([index, bits]) => bits > 1e-6 && !session.findings.has(index)).sort((a, b) => b[1] - a[1]);
  return (
    <Section title="Would tell most about it">
      {ranked.length === 0 ? <p class="quiet">Nothing that is not known yet.</p> : null}
      <ul class="rows">
        {ranked.slice(0, MOST_LISTED).map(([index, bits]) => (
          <li key={index}>
            <NodeLink variable={session.variables[index]!} onGoTo={onGoTo} />
            <Meter share={target.share(index)} />
            <span class="change" title={`${percent(target.share(index))} % of what is uncertain`}>{bits < 0.001 ? "<0.001" : short(bits, 2)} bits</span>
          </li>
        ))}
      </ul>
    </Section>
  );
}
