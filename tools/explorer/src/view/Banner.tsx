// What stands in the way, in words: findings that contradict each other, what was refused, what cannot be computed.

import type { Session } from "../model/session";

export function Banner({ session, onGoTo }: { session: Session; onGoTo: (index: number) => void }) {
  if (session.trouble) return <div class="banner" role="alert"><p>There are no beliefs: {session.trouble}</p></div>;
  const { contradiction } = session;
  if (contradiction) {
    return (
      <div class="banner" role="alert">
        <p>{contradiction.text}</p>
        <div class="banner-tools">
          {contradiction.indices.filter((index) => session.findings.has(index)).map((index) => (
            <button key={index} type="button" onClick={() => { session.retract(index); onGoTo(index); }}>Take back {session.variables[index]!.title}</button>
          ))}
          {session.canUndo ? <button type="button" onClick={() => session.undo()}>Undo</button> : null}
        </div>
      </div>
    );
  }
  const { clash } = session;
  if (clash) {
    return (
      <div class="banner" role="alert">
        <p>{clash.text}</p>
        <div class="banner-tools">
          {clash.indices.filter((index) => session.findings.has(index)).map((index) => (
            <button key={index} type="button" onClick={() => { session.insistWithout(index); onGoTo(index); }}>Take back {session.variables[index]!.title}</button>
          ))}
          <button type="button" onClick={() => session.forgive()}>Leave it</button>
        </div>
      </div>
    );
  }
  if (!session.refusal) return null;
  return (
    <div class="banner" role="alert">
      <p>{session.refusal}</p>
      <div class="banner-tools"><button type="button" onClick={() => session.forgive()}>Close</button></div>
    </div>
  );
}
