// How the page is used, as a dialog.

import { Component, createRef } from "preact";

const HELP: readonly (readonly [string, string])[] = [
  ["Press a state", "it is so; press again to take it back"],
  ["Shift + press", "it is not so"],
  ["Drag a bar", "it is about that probable (a likelihood)"],
  ["Press a title", "its states, comment, links and table"],
  ["Drag the ground, wheel", "move, zoom"],
  ["Arrow keys", "between states and nodes"],
  ["Enter, Shift + Enter", "set the state; exclude it"],
  ["[ and ]", "less and more probable"],
  ["Delete", "take the node's finding back"],
  ["T", "make the node the target"],
  ["/", "search"],
  ["Ctrl + Z, Ctrl + Y", "undo, redo"],
  ["+ − F", "zoom in, zoom out, fit"],
];

export class Help extends Component<{ onClose: () => void }> {
  private readonly dialog = createRef<HTMLDialogElement>();

  override componentDidMount(): void {
    this.dialog.current!.showModal();
  }

  override render({ onClose }: { onClose: () => void }) {
    return (
      <dialog ref={this.dialog} class="help" aria-labelledby="help-title" onClose={onClose}>
        <h2 id="help-title">How it works</h2>
        <dl>
          {HELP.map(([what, does]) => <div key={what}><dt>{what}</dt><dd>{does}</dd></div>)}
        </dl>
        <p class="quiet">Blue bars are beliefs given all findings, a thin line shows where a bar was before the last step. Found nodes are amber. Everything is computed in this page; nothing leaves it.</p>
        <form method="dialog"><button type="submit" class="main" autofocus>Close</button></form>
      </dialog>
    );
  }
}
