// What can be taken away from the page: the net as a file, the picture, cases, a link.

import { Component, createRef } from "preact";
import type { Format } from "bravic";
import type { Layout } from "../layout";
import type { Session } from "../model/session";
import { textOf } from "../model/session";
import { copyText, saveText } from "../save/download";
import { drawSvg } from "../save/svg";
import { Icon } from "./Icon";

const FORMATS: readonly { format: Format; ending: string; name: string }[] = [
  { format: "dne", ending: "dne", name: "Bravic (.dne)" },
  { format: "bif", ending: "bif", name: "Interchange format (.bif)" },
  { format: "xmlbif", ending: "xml", name: "XML interchange format (.xml)" },
  { format: "net", ending: "net", name: "Net language (.net)" },
  { format: "uai", ending: "uai", name: "UAI (.uai)" },
  { format: "xdsl", ending: "xdsl", name: "XDSL (.xdsl)" },
];
const NUM_CASES = 1000;

interface Props {
  readonly session: Session;
  readonly layout: Layout;
}

export class Menu extends Component<Props, { isOpen: boolean; numCases: number }> {
  override state = { isOpen: false, numCases: NUM_CASES };
  private readonly place = createRef<HTMLDivElement>();

  override componentDidMount(): void {
    document.addEventListener("pointerdown", this.onPressElsewhere);
  }

  override componentWillUnmount(): void {
    document.removeEventListener("pointerdown", this.onPressElsewhere);
  }

  private onPressElsewhere = (event: PointerEvent): void => {
    if (this.state.isOpen && !this.place.current!.contains(event.target as Node)) this.setState({ isOpen: false });
  };

  private onKeyDown = (event: KeyboardEvent): void => {
    if (event.key !== "Escape") return;
    this.setState({ isOpen: false });
    this.place.current!.querySelector("button")!.focus();
  };

  /** Does what was chosen; what is refused is told in the page. */
  private run(what: () => string): void {
    const { session } = this.props;
    this.setState({ isOpen: false });
    try {
      session.say(what());
    } catch (error) {
      session.refuse(textOf(error));
    }
  }

  private saveNet(format: Format, ending: string): void {
    const { net } = this.props.session;
    this.run(() => saveText(`${net.name}.${ending}`, net.write(format), "text/plain"));
  }

  private saveCases(): void {
    const { session } = this.props;
    this.run(() => saveText(`${session.net.name}-cases.csv`, session.asked.sampleText(this.state.numCases), "text/csv"));
  }

  private savePicture(): void {
    const { session, layout } = this.props;
    this.run(() => saveText(`${session.net.name}.svg`, drawSvg(session, layout), "image/svg+xml"));
  }

  override render(_: Props, { isOpen, numCases }: { isOpen: boolean; numCases: number }) {
    return (
      <div class="menu" ref={this.place} onKeyDown={this.onKeyDown}>
        <button type="button" class="icon" aria-label="Save and share" title="Save and share" aria-expanded={isOpen} onClick={() => this.setState({ isOpen: !isOpen })}>
          <Icon name="menu" />
        </button>
        {isOpen ? (
          <div class="menu-body">
            <h2>Share</h2>
            <button type="button" onClick={() => this.run(() => copyText(location.href, "The link to this case is in the clipboard."))}>Copy a link to this case</button>
            <h2>Save the net, findings included</h2>
            {FORMATS.map(({ format, ending, name }) => <button key={format} type="button" onClick={() => this.saveNet(format, ending)}>{name}</button>)}
            <h2>Save more</h2>
            <button type="button" onClick={() => this.savePicture()}>Picture (.svg)</button>
            <div class="menu-row">
              <button type="button" onClick={() => this.saveCases()}>Random cases (.csv)</button>
              <input type="number" min="1" max="100000" step="1" value={numCases} aria-label="How many cases"
                onInput={(event) => this.setState({ numCases: Math.min(Math.max(Math.round(event.currentTarget.valueAsNumber) || 1, 1), 100000) })} />
            </div>
          </div>
        ) : null}
      </div>
    );
  }
}
