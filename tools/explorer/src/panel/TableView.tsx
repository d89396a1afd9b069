// A node's table: a row for each configuration of its parents, first parent slowest. Rows that agree with what is known come
// out; of long tables as many rows are shown as are asked for.

import { Component } from "preact";
import type { Session } from "../model/session";
import type { Variable } from "../model/variables";
import { short } from "../view/text";

const ROWS_AT_ONCE = 64;

interface Props {
  readonly session: Session;
  readonly variable: Variable;
}

export class TableView extends Component<Props, { numShown: number }> {
  override state = { numShown: ROWS_AT_ONCE };

  override render({ session, variable }: Props, { numShown }: { numShown: number }) {
    const table = variable.node.table;
    if (!table) return <p class="quiet">It has none.</p>;
    const parents = variable.node.parents.map((parent) => (parent ? session.variables.find(({ node }) => node === parent)! : null));
    const isFunction = table.kind === "function";
    const width = isFunction ? 1 : variable.states.length;
    const parentShape = table.shape.slice(0, parents.length);
    const numRows = parentShape.reduce((product, n) => product * n, 1);
    const rows = Array.from({ length: Math.min(numRows, numShown) }, (_, row) => row);
    const isOfStates = isFunction && variable.states.length > 0 && variable.kind !== "utility";
    return (
      <>
        <div class="table-frame" tabIndex={0} role="region" aria-label={`Table of ${variable.title}`}>
          <table class="probabilities">
            <thead>
              <tr>
                {parents.map((parent, i) => <th key={`p${i}`} scope="col" class="parent" title={parent?.title ?? ""}>{parent?.title ?? "?"}</th>)}
                {isFunction ? <th scope="col">{isOfStates ? "State" : "Value"}</th> : variable.states.map((name, s) => <th key={s} scope="col" title={name}>{name}</th>)}
              </tr>
            </thead>
            <tbody>
              {rows.map((row) => {
                const states = statesOfRow(row, parentShape);
                const isOpen = states.every((state, i) => agrees(session, parents[i], state));
                return (
                  <tr key={row} class={isOpen ? "" : "is-closed"}>
                    {states.map((state, i) => <td key={`p${i}`} class="parent">{parents[i]?.states[state] ?? state}</td>)}
                    {Array.from(table.values.subarray(row * width, (row + 1) * width), (value, s) => (
                      <td key={s} class="number">{isOfStates ? variable.states[value] ?? "–" : entry(value, isFunction)}</td>
                    ))}
                  </tr>
                );
              })}
            </tbody>
          </table>
        </div>
        {numRows > numShown ? (
          <button type="button" class="plain" onClick={() => this.setState({ numShown: numShown * 4 })}>
            Show more of its {numRows.toLocaleString("en-US")} rows
          </button>
        ) : null}
      </>
    );
  }
}

/** The parents' states in a row, last parent fastest. */
function statesOfRow(row: number, shape: readonly number[]): number[] {
  const states: number[] = [];
  for (let i = shape.length - 1; i >= 0; --i) {
    states.unshift(row % shape[i]!);
    row = Math.floor(row / shape[i]!);
  }
  return states;
}

/** Whether a parent may be in a state as far as it is known itself. */
function agrees(session: Session, parent: Variable | null | undefined, state: number): boolean {
  const found = parent ? session.findings.get(parent.index) : undefined;
  if (found?.kind === "state") return found.state === state;
  return found?.kind === "not" ? !found.excluded.includes(state) : true;
}

/** Undefined entries are below 0, or no number. */
function entry(value: number, isFunction: boolean): string {
  if (Number.isNaN(value) || (!isFunction && value < 0)) return "–";
  return short(value, isFunction ? 6 : 4);
}
