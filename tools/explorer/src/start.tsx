// Starts the page: unpacks the engine that is inside it, reads the net that is inside it, and draws.

import { load, type Bravic, type Format } from "bravic";
import { options, render } from "preact";
import { makeLayout } from "./layout";
import { addressOf, readAddress } from "./model/address";
import { Session, textOf } from "./model/session";
import { App } from "./view/App";
import { Opening } from "./view/Opening";

/** What `bravic explore` puts into the page. */
interface Embedded {
  readonly name: string;
  readonly format: Format;
  readonly text: string;
}

// What was pressed is drawn at once rather than with the next task.
options.debounceRendering = (draw) => draw();

const root = document.getElementById("root")!;

async function unpackEngine(): Promise<ArrayBuffer> {
  const packed = Uint8Array.from(atob(document.getElementById("engine")!.textContent!.trim()), (c) => c.charCodeAt(0));
  return new Response(new Blob([packed]).stream().pipeThrough(new DecompressionStream("gzip"))).arrayBuffer();
}

/** Keeps the page's address and the findings the same, whichever of them changes. */
function followAddress(session: Session): void {
  const read = () => {
    const addressed = readAddress(location.hash, session.variables);
    if (!addressed) return void session.step(session.stored);
    session.step(addressed.findings);
    if (addressed.unknown.length) session.refuse(`The address speaks of what this net does not know: ${addressed.unknown.join(", ")}`);
  };
  session.subscribe(() => {
    const address = addressOf(session.findings, session.variables, session.isAsStored);
    if (address === location.hash) return;
    history.replaceState(null, "", address || location.href.replace(/#.*$/, ""));
  });
  if (location.hash) read();
  window.addEventListener("hashchange", read);
}

function show(bravic: Bravic, { text, name, format }: { text: string | Uint8Array; name: string; format?: Format }): void {
  const net = bravic.read(text, name, format);
  const session = new Session(bravic, net);
  document.title = net.title || net.name;
  followAddress(session);
  root.replaceChildren();
  render(<App session={session} layout={makeLayout(session.variables)} />, root);
}

async function start(): Promise<void> {
  const bravic = await load({ module: await unpackEngine(), warn: () => undefined });
  const embedded = JSON.parse(document.getElementById("net")!.textContent!) as Embedded | null;
  if (embedded) show(bravic, embedded);
  else open(bravic);
}

function open(bravic: Bravic): void {
  root.replaceChildren();
  render(<Opening onOpen={(file) => show(bravic, file)} />, root);
}

start().catch((error: unknown) => {
  root.textContent = `This net cannot be shown: ${textOf(error)}`;
});
