// One node: what it is, what is found and believed of it, its links and its table.

import { likelihoodOf, LEAST_LIKELIHOOD, normalized } from "../model/findings";
import type { Session } from "../model/session";
import type { Variable } from "../model/variables";
import { bearing } from "../view/NodeBox";
import { short } from "../view/text";
import { NodeLink, Section, type PanelProps } from "./parts";
import { TableView } from "./TableView";

export function NodePanel({ session, selected, onGoTo }: PanelProps) {
  if (selected === null) return <p class="quiet empty">Press a node's title to see its states, its comment, its links and its table.</p>;
  const variable = session.variables[selected]!;
  const { title, name, kind, node } = variable;
  return (
    <>
      <header class="node-head">
        <h2 class="node-name">{title}</h2>
        <p class="quiet">{title === name ? "" : `${name} · `}{kindInWords(variable)}</p>
        {node.comment ? <p class="comment">{node.comment}</p> : null}
      </header>
      {kind === "utility" ? null : <States session={session} variable={variable} />}
      {variable.isContinuous && kind === "nature" ? <ValueField session={session} variable={variable} /> : null}
      <Links title="Depends on" session={session} indices={variable.parents} onGoTo={onGoTo} />
      <Links title="Bears on" session={session} indices={variable.children} onGoTo={onGoTo} />
      <Section title="Table"><TableView key={selected} session={session} variable={variable} /></Section>
    </>
  );
}

function kindInWords({ kind, node, states }: Variable): string {
  if (kind === "utility" || kind === "decision") return kind;
  const what = kind === "nature" ? `${states.length} states` : kind;
  return node.isDeterministic ? `${what}, follows from its parents` : what;
}

function States({ session, variable }: { session: Session; variable: Variable }) {
  const { index, states } = variable;
  const found = session.findings.get(index);
  const beliefs = session.hasBeliefs(index) ? session.beliefsOf(index) : null;
  const weights = likelihoodOf(found, states.length);
  const weigh = (state: number, weight: number) =>
    session.find(index, normalized(weights.map((w, s) => (s === state ? Math.max(weight, LEAST_LIKELIHOOD) : w || LEAST_LIKELIHOOD))), `weigh ${index} ${state}`);
  const canWeigh = session.canLean(index) || session.findings.has(index);
  return (
    <Section title="States">
      <table class="states">
        <thead><tr><th scope="col">State</th><th scope="col" class="number">Belief</th><th scope="col">Finding</th>{variable.kind === "nature" ? <th scope="col">Weight</th> : null}</tr></thead>
        <tbody>
          {states.map((name, state) => {
            const how = bearing(found, state);
            return (
              <tr key={state} class={how}>
                <th scope="row" title={name}>{name}</th>
                <td class="number">{beliefs ? beliefs[state]!.toFixed(4) : "–"}</td>
                <td class="choices">
                  <button type="button" class="chip" aria-pressed={how === "found"} aria-label={`${name}: is`} onClick={() => session.press(index, state, false)}>is</button>
                  <button type="button" class="chip" aria-pressed={how === "excluded"} aria-label={`${name}: is not`} onClick={() => session.press(index, state, true)}>not</button>
                </td>
                {variable.kind === "nature" ? (
                  <td>
                    <input type="range" min="0" max="1" step="0.01" value={weights[state]} disabled={!canWeigh} aria-label={`How probable the observation is if ${name}`}
                      title={`How probable what was observed is if ${name}: ${short(weights[state]!)}`} onInput={(event) => weigh(state, event.currentTarget.valueAsNumber)} />
                  </td>
                ) : null}
              </tr>
            );
          })}
        </tbody>
      </table>
      {found ? <button type="button" class="plain" onClick={() => session.retract(index)}>Take the finding back</button> : null}
      {variable.kind === "nature" && session.target.index !== index ? (
        <button type="button" class="plain" onClick={() => session.target.choose(index)}>Make it the target</button>
      ) : null}
    </Section>
  );
}

/** A continuous node is known by a number. */
function ValueField({ session, variable }: { session: Session; variable: Variable }) {
  const found = session.findings.get(variable.index);
  const submit = (event: Event) => {
    event.preventDefault();
    const field = (event.currentTarget as HTMLFormElement).elements.namedItem("value") as HTMLInputElement;
    if (Number.isFinite(field.valueAsNumber)) session.find(variable.index, { kind: "value", value: field.valueAsNumber, state: null });
  };
  return (
    <form class="value-field" onSubmit={submit}>
      <label>Value <input name="value" type="number" step="any" value={found?.kind === "value" ? found.value : ""} /></label>
      <button type="submit" class="chip">Set</button>
    </form>
  );
}

function Links({ title, session, indices, onGoTo }: { title: string; session: Session; indices: readonly number[]; onGoTo: (index: number) => void }) {
  if (indices.length === 0) return null;
  return (
    <Section title={title}>
      <ul class="links">{indices.map((index) => <li key={index}><NodeLink variable={session.variables[index]!} onGoTo={onGoTo} /></li>)}</ul>
    </Section>
  );
}
