// The page: a bar above, the picture, and a panel beside it, which is a sheet from below where there is little room.

import { Component, createRef } from "preact";
import type { Layout } from "../layout";
import { BestPanel, findBest, type Best } from "../panel/BestPanel";
import { CasePanel } from "../panel/CasePanel";
import { NodePanel } from "../panel/NodePanel";
import { TargetPanel } from "../panel/TargetPanel";
import type { Session } from "../model/session";
import { Help } from "./Help";
import { Icon } from "./Icon";
import { Menu } from "./Menu";
import { Picture } from "./Picture";
import { Search } from "./Search";
import { Banner } from "./Banner";
import { percent } from "./text";
import { nextTheme, setTheme, storedTheme, type Theme } from "./theme";

const TABS = { case: "Case", node: "Node", target: "Target", best: "Best" } as const;
type Tab = keyof typeof TABS;
const ZOOM_STEP = 1.25;
/** Of the nodes that changed, those marked in the picture. */
const MOST_MARKED = 3;

interface Props {
  readonly session: Session;
  readonly layout: Layout;
}

interface State {
  readonly version: number;
  readonly tab: Tab;
  readonly selected: number | null;
  readonly isPanelOpen: boolean;
  readonly isHelpOpen: boolean;
  readonly theme: Theme;
}

export class App extends Component<Props, State> {
  override state: State = {
    version: this.props.session.version, tab: "case", selected: null,
    isPanelOpen: !window.matchMedia("(max-width: 760px)").matches, isHelpOpen: false, theme: storedTheme(),
  };
  private readonly picture = createRef<Picture>();
  private readonly search = createRef<Search>();
  private unsubscribe: (() => void) | null = null;
  private changed: { version: number; nodes: ReadonlySet<number> } | null = null;
  private best: { version: number; best: Best } | null = null;

  override componentDidMount(): void {
    const { session } = this.props;
    setTheme(this.state.theme);
    // Drawn at once: what was pressed and what follows from it appear in the same picture.
    this.unsubscribe = session.subscribe(() => this.setState({ version: session.version }));
    document.addEventListener("keydown", this.onKeyDown);
  }

  override componentWillUnmount(): void {
    this.unsubscribe?.();
    document.removeEventListener("keydown", this.onKeyDown);
  }

  private onKeyDown = (event: KeyboardEvent): void => {
    const { session } = this.props;
    const isTyping = event.target instanceof HTMLInputElement && event.target.type !== "range";
    const key = event.key.toLowerCase();
    if ((event.ctrlKey || event.metaKey) && !isTyping && (key === "z" || key === "y")) {
      if (key === "y" || event.shiftKey) session.redo();
      else session.undo();
    } else if (event.ctrlKey || event.metaKey || event.altKey || isTyping || event.target instanceof HTMLSelectElement) return;
    else if (key === "/") this.search.current!.focus();
    else if (key === "?") this.setState({ isHelpOpen: true });
    else if (key === "+" || key === "=") this.picture.current!.zoomBy(ZOOM_STEP);
    else if (key === "-") this.picture.current!.zoomBy(1 / ZOOM_STEP);
    else if (key === "0" || key === "f") this.picture.current!.fit();
    else if (key === "escape" && (session.refusal || session.clash)) session.forgive();
    else return;
    event.preventDefault();
  };

  private select = (selected: number | null): void => {
    if (selected === null) this.setState({ selected });
    else this.setState({ selected, tab: "node", isPanelOpen: true });
  };

  private goTo = (index: number): void => {
    this.picture.current!.goTo(index, false);
    this.setState({ selected: index });
  };

  private findAndGoTo = (index: number): void => {
    this.picture.current!.goTo(index, true);
    this.setState({ selected: index, tab: "node" });
  };

  /** The same set as long as nothing changes. */
  private changedMost(): ReadonlySet<number> {
    const { session } = this.props;
    if (this.changed?.version !== session.version) {
      const nodes = new Set(session.changes().slice(0, MOST_MARKED).map(({ index }) => index));
      this.changed = { version: session.version, nodes };
    }
    return this.changed.nodes;
  }

  private bestNow(): Best {
    const { version } = this.props.session;
    if (this.best?.version !== version) this.best = { version, best: findBest(this.props.session) };
    return this.best.best;
  }

  override render({ session, layout }: Props, { version, tab, selected, isPanelOpen, isHelpOpen, theme }: State) {
    const isBestShown = tab === "best" && isPanelOpen;
    const changed = this.changedMost();
    return (
      <div class={`app${isPanelOpen ? " has-panel" : ""}`}>
        <header class="topbar">
          <h1 title={session.net.comment}>{session.net.title || session.net.name}</h1>
          <Search ref={this.search} variables={session.variables} onFound={this.findAndGoTo} />
          <div class="tools" role="group" aria-label="Tools">
            <IconButton icon="undo" label="Undo (Ctrl+Z)" isOff={!session.canUndo} onClick={() => session.undo()} />
            <IconButton icon="redo" label="Redo (Ctrl+Y)" isOff={!session.canRedo} onClick={() => session.redo()} />
            <IconButton icon={theme === "dark" ? "moon" : theme === "light" ? "sun" : "auto"} label={`Colours: ${theme}`} onClick={this.turnTheme} />
            <Menu session={session} layout={layout} />
            <IconButton icon="help" label="Help (?)" onClick={() => this.setState({ isHelpOpen: true })} />
            <IconButton icon="panel" label={isPanelOpen ? "Hide the panel" : "Show the panel"} isPressed={isPanelOpen} onClick={() => this.setState({ isPanelOpen: !isPanelOpen })} />
          </div>
        </header>
        <main>
          <Banner session={session} onGoTo={this.goTo} />
          <Picture ref={this.picture} session={session} layout={layout} version={version} selected={selected} changed={changed}
            best={isBestShown ? this.bestNow().states : null} onSelect={this.select} />
          <div class="zoom" role="group" aria-label="Zoom">
            <IconButton icon="plus" label="Zoom in (+)" onClick={() => this.picture.current!.zoomBy(ZOOM_STEP)} />
            <IconButton icon="minus" label="Zoom out (−)" onClick={() => this.picture.current!.zoomBy(1 / ZOOM_STEP)} />
            <IconButton icon="fit" label="Fit (F)" onClick={() => this.picture.current!.fit()} />
          </div>
        </main>
        <aside class="panel" aria-label="Panel" hidden={!isPanelOpen}>
          {isPanelOpen ? this.renderPanel(tab, selected) : null}
        </aside>
        <p class="unseen live" role="status" aria-live="polite">{spoken(session)}</p>
        {isHelpOpen ? <Help onClose={() => this.setState({ isHelpOpen: false })} /> : null}
      </div>
    );
  }

  private renderPanel(tab: Tab, selected: number | null) {
    const props = { session: this.props.session, selected, onGoTo: this.goTo };
    return (
      <>
        <div class="tabs">
          <div role="tablist" aria-label="Panel" onKeyDown={this.onTabKey}>
            {(Object.keys(TABS) as Tab[]).map((name) => (
              <button key={name} type="button" role="tab" id={`tab-${name}`} aria-selected={tab === name} aria-controls="panel-body"
                tabIndex={tab === name ? 0 : -1} onClick={() => this.setState({ tab: name })}>
                {TABS[name]}
              </button>
            ))}
          </div>
          <IconButton icon="close" label="Close the panel" onClick={() => this.setState({ isPanelOpen: false })} />
        </div>
        <div class="panel-body" id="panel-body" role="tabpanel" aria-labelledby={`tab-${tab}`} tabIndex={0}>
          {tab === "case" ? <CasePanel {...props} /> : null}
          {tab === "node" ? <NodePanel {...props} /> : null}
          {tab === "target" ? <TargetPanel {...props} /> : null}
          {tab === "best" ? <BestPanel {...props} best={this.bestNow()} /> : null}
        </div>
      </>
    );
  }

  private onTabKey = (event: KeyboardEvent): void => {
    const step = event.key === "ArrowRight" ? 1 : event.key === "ArrowLeft" ? -1 : 0;
    if (step === 0) return;
    const names = Object.keys(TABS) as Tab[];
    const tab = names[(names.indexOf(this.state.tab) + step + names.length) % names.length]!;
    this.setState({ tab }, () => document.getElementById(`tab-${tab}`)?.focus());
    event.preventDefault();
  };

  private turnTheme = (): void => {
    const theme = nextTheme(this.state.theme);
    setTheme(theme);
    this.setState({ theme });
    this.picture.current!.moved();
  };
}


interface IconButtonProps {
  readonly icon: Parameters<typeof Icon>[0]["name"];
  readonly label: string;
  readonly onClick: () => void;
  readonly isOff?: boolean;
  readonly isPressed?: boolean;
}

export function IconButton({ icon, label, onClick, isOff, isPressed }: IconButtonProps) {
  return (
    <button type="button" class="icon" aria-label={label} title={label} disabled={isOff ?? false} onClick={onClick} {...(isPressed === undefined ? {} : { "aria-pressed": isPressed })}>
      <Icon name={icon} />
    </button>
  );
}

/** What is told to those who do not see the page: what was done, and what it changed most. */
function spoken(session: Session): string {
  if (session.refusal || session.clash) return session.refusal || session.clash!.text;
  if (!session.said) return "";
  if (session.contradiction) return `${session.said} ${session.contradiction.text}`;
  const changes = session.changes().slice(0, 2).map(({ index, state, to }) => {
    const variable = session.variables[index]!;
    return `${variable.title}: ${variable.states[state]} now ${percent(to)} percent.`;
  });
  return [session.said, ...changes].join(" ");
}
