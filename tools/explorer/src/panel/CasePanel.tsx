// What was found, how probable and how surprising that is, and what the last step changed.

import { describeShort } from "../model/findings";
import type { Session } from "../model/session";
import { oneIn, points, probability, percent, short, surpriseInWords } from "../view/text";
import { NodeLink, Section, type PanelProps } from "./parts";

export function CasePanel({ session, onGoTo }: PanelProps) {
  const findings = [...session.findings];
  return (
    <>
      {session.decisions ? <Promise session={session} /> : null}
      <Section title="Findings" note={findings.length ? String(findings.length) : ""}>
        {findings.length === 0 ? (
          <p class="quiet">None yet. Press a state to set it, with Shift to exclude it, or drag its bar.</p>
        ) : (
          <ul class="rows">
            {findings.map(([index, found]) => (
              <li key={index} class={session.isConflicting(index) ? "is-conflicting" : ""}>
                <NodeLink variable={session.variables[index]!} onGoTo={onGoTo} />
                <span class="what">{describeShort(session.variables[index]!, found)}</span>
                <button type="button" class="icon" aria-label={`Take back: ${session.variables[index]!.title}`} title="Take back" onClick={() => takeBack(session, index)}>×</button>
              </li>
            ))}
          </ul>
        )}
        {findings.length > 1 ? <button type="button" class="plain" onClick={() => session.retract()}>Take all back</button> : null}
      </Section>
      {session.contradiction || session.trouble ? null : <Probability session={session} />}
      <Changes session={session} onGoTo={onGoTo} />
    </>
  );
}

/** The button goes with its finding: the focus stays in the panel. */
function takeBack(session: Session, index: number): void {
  session.retract(index);
  document.getElementById("panel-body")?.focus();
}

function Promise({ session }: { session: Session }) {
  const value = session.decisions!.expectedUtility;
  return (
    <Section title="Expected utility">
      <p class="figure">{value === null ? "–" : short(value, 6)}</p>
      <p class="quiet">if the best is decided from here on</p>
    </Section>
  );
}

function Probability({ session }: { session: Session }) {
  if (session.findings.size === 0) return null;
  const rare = oneIn(session.logProbability);
  return (
    <Section title="Probability of the findings">
      <p class="figure" data-probability={session.logProbability}>{probability(session.logProbability)}{rare ? <span class="aside">{rare}</span> : null}</p>
      {session.findings.size > 1 ? (
        <p class="quiet">{surpriseInWords(session.surprise)} <span class="nowrap">({short(session.surprise, 3)} bits)</span></p>
      ) : null}
    </Section>
  );
}

function Changes({ session, onGoTo }: Pick<PanelProps, "session" | "onGoTo">) {
  const changes = session.changes();
  if (changes.length === 0) return null;
  return (
    <Section title="Changed most">
      <ul class="rows">
        {changes.map(({ index, state, from, to }) => (
          <li key={index}>
            <NodeLink variable={session.variables[index]!} onGoTo={onGoTo} />
            <span class="what">{session.variables[index]!.states[state]}</span>
            <span class={`change ${to > from ? "up" : "down"}`} title={`from ${percent(from)} % to ${percent(to)} %`}>{points(to - from)}</span>
          </li>
        ))}
      </ul>
    </Section>
  );
}
