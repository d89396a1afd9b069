// Search by title or name: a list under the field, gone through by arrow keys.

import { Component, createRef } from "preact";
import type { Variable } from "../model/variables";
import { Icon } from "./Icon";

const MOST_LISTED = 12;

interface Props {
  readonly variables: readonly Variable[];
  readonly onFound: (index: number) => void;
}

interface State {
  readonly text: string;
  readonly chosen: number;
  readonly isOpen: boolean;
}

/** Nodes whose title or name holds the text, those that begin with it first. */
export function search(variables: readonly Variable[], text: string): Variable[] {
  const wanted = text.trim().toLowerCase();
  if (!wanted) return [];
  const rank = ({ title, name, states }: Variable): number => {
    const texts = [title.toLowerCase(), name.toLowerCase()];
    if (texts.some((t) => t.startsWith(wanted))) return 0;
    if (texts.some((t) => t.includes(wanted))) return 1;
    return states.some((state) => state.toLowerCase().includes(wanted)) ? 2 : 3;
  };
  const ranked = variables.map((variable) => ({ variable, rank: rank(variable) })).filter((item) => item.rank < 3);
  return ranked.sort((a, b) => a.rank - b.rank).map(({ variable }) => variable);
}

export class Search extends Component<Props, State> {
  override state: State = { text: "", chosen: 0, isOpen: false };
  private readonly field = createRef<HTMLInputElement>();

  focus(): void {
    this.field.current!.focus();
    this.field.current!.select();
  }

  private choose(variable: Variable | undefined): void {
    if (!variable) return;
    this.setState({ isOpen: false, text: "" });
    this.props.onFound(variable.index);
  }

  private onKeyDown = (event: KeyboardEvent): void => {
    const found = this.found();
    const { chosen } = this.state;
    if (event.key === "ArrowDown") this.setState({ chosen: Math.min(chosen + 1, found.length - 1), isOpen: true });
    else if (event.key === "ArrowUp") this.setState({ chosen: Math.max(chosen - 1, 0) });
    else if (event.key === "Enter") this.choose(found[chosen]);
    else if (event.key === "Escape") {
      this.setState({ isOpen: false, text: "" });
      this.field.current!.blur();
    } else return;
    event.preventDefault();
  };

  private found(): Variable[] {
    return search(this.props.variables, this.state.text).slice(0, MOST_LISTED);
  }

  override render(_: Props, { text, chosen, isOpen }: State) {
    const found = isOpen ? this.found() : [];
    return (
      <div class="search">
        <Icon name="search" />
        <input
          ref={this.field} type="text" role="combobox" value={text} placeholder="Search  /" aria-label="Search for a node" autocomplete="off" spellcheck={false}
          aria-expanded={found.length > 0} aria-controls="found" {...(found.length ? { "aria-activedescendant": `found-${chosen}` } : {})}
          onInput={(event) => this.setState({ text: event.currentTarget.value, chosen: 0, isOpen: true })}
          onKeyDown={this.onKeyDown} onFocus={() => this.setState({ isOpen: true })} onBlur={() => this.setState({ isOpen: false })}
        />
        <ul class="hits" id="found" role="listbox" aria-label="Nodes found" hidden={found.length === 0}>
          {found.map((variable, i) => (
            <li key={variable.index} id={`found-${i}`} role="option" aria-selected={i === chosen}
              onPointerDown={(event) => { event.preventDefault(); this.choose(variable); }}>
              {variable.title}{variable.title === variable.name ? null : <span>{variable.name}</span>}
            </li>
          ))}
        </ul>
        {isOpen && text.trim() && found.length === 0 ? <p class="hits nothing">No node of that name</p> : null}
      </div>
    );
  }
}
