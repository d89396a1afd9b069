// The most probable configuration: for all nodes together the states that fit the findings best.

import { textOf, type Session } from "../model/session";
import { percent, probability } from "../view/text";
import { NodeLink, Section, type PanelProps } from "./parts";

/** States by node; empty where there is none. */
export interface Best {
  readonly states: ReadonlyMap<number, number>;
  readonly probability: number;
  readonly problem: string;
}

export function findBest(session: Session): Best {
  const none = { states: new Map<number, number>(), probability: 0 };
  if (session.contradiction || session.trouble) return { ...none, problem: "There is none while the findings contradict each other." };
  try {
    const best = session.asked.mpe();
    const states = new Map(
      session.variables.flatMap(({ index, name, node }) => {
        const state = node.states.indexOf(best.states[name] ?? "");
        return state < 0 ? [] : [[index, state] as const];
      }),
    );
    return { states, probability: best.probability, problem: "" };
  } catch (error) {
    return { ...none, problem: textOf(error) };
  }
}

export function BestPanel({ session, onGoTo, best }: PanelProps & { best: Best }) {
  const share = best.probability / Math.exp(session.logProbability);
  return (
    <Section title="Most probable configuration">
      {best.problem ? <p>{best.problem}</p> : (
        <p class="quiet">
          Probability {probability(Math.log(best.probability))}
          {Number.isFinite(share) ? `, ${percent(share)} % of all that fits the findings` : ""}. In the picture its states bear a <span class="best">◆</span>.
        </p>
      )}
      <ul class="rows">
        {[...best.states].map(([index, state]) => (
          <li key={index} class={session.findings.has(index) ? "is-found" : ""}>
            <NodeLink variable={session.variables[index]!} onGoTo={onGoTo} />
            <span class="what">{session.variables[index]!.states[state]}</span>
          </li>
        ))}
      </ul>
    </Section>
  );
}
