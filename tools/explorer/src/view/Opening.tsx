// What the page shows that has no net inside: it opens one from a file, of any format.

import { Component } from "preact";
import { textOf } from "../model/session";

interface Props {
  readonly onOpen: (file: { text: Uint8Array; name: string }) => void;
}

export class Opening extends Component<Props, { problem: string }> {
  override state = { problem: "" };

  private async open(file: File | undefined): Promise<void> {
    if (!file) return;
    try {
      this.props.onOpen({ text: new Uint8Array(await file.arrayBuffer()), name: file.name });
    } catch (error) {
      this.setState({ problem: textOf(error) });
    }
  }

  private onDrop = (event: DragEvent): void => {
    event.preventDefault();
    void this.open(event.dataTransfer?.files[0]);
  };

  override render(_: Props, { problem }: { problem: string }) {
    return (
      <main class="opening" onDrop={this.onDrop} onDragOver={(event) => event.preventDefault()}>
        <h1>Open a net</h1>
        <p class="quiet">A file of a belief network or a decision network: .dne, .bif, .xml, .net, .uai or .xdsl. It stays in this page.</p>
        <label class="main">Choose a file<input type="file" onChange={(event) => void this.open(event.currentTarget.files?.[0])} /></label>
        {problem ? <p role="alert" class="problem">{problem}</p> : null}
      </main>
    );
  }
}
