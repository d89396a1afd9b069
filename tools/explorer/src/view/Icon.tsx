// The page's icons, as lines in a square of 20 points.

const PATHS = {
  undo: "M8 5 4 9l4 4M4 9h7.5a4 4 0 0 1 0 8H8",
  redo: "m12 5 4 4-4 4m4-4H8.5a4 4 0 0 0 0 8H12",
  sun: "M10 6.5a3.5 3.5 0 1 0 0 7 3.5 3.5 0 0 0 0-7ZM10 2v1.5m0 13V18M2 10h1.5m13 0H18M4.3 4.3l1.1 1.1m9.2 9.2 1.1 1.1m0-11.4-1.1 1.1m-9.2 9.2-1.1 1.1",
  moon: "M16 11.5A6.5 6.5 0 0 1 8.5 4a6.5 6.5 0 1 0 7.5 7.5Z",
  auto: "M10 3a7 7 0 1 0 0 14 7 7 0 0 0 0-14Zm0 0v14m2-13.6v13.2m2.5-11.4v9.6",
  menu: "M10 4v9m0 0-3.5-3.5M10 13l3.5-3.5M4 16h12",
  help: "M7.6 7.6a2.4 2.4 0 1 1 3.6 2.1c-.8.5-1.2.9-1.2 1.8m0 2.6v.1M10 3a7 7 0 1 0 0 14 7 7 0 0 0 0-14Z",
  panel: "M3.5 4.5h13v11h-13zm8.5 0v11",
  plus: "M10 5v10M5 10h10",
  minus: "M5 10h10",
  fit: "M4 8V4h4m4 0h4v4m0 4v4h-4m-4 0H4v-4",
  close: "m5.5 5.5 9 9m0-9-9 9",
  search: "M9 4a5 5 0 1 0 0 10A5 5 0 0 0 9 4Zm3.7 8.7L16 16",
} as const;

export function Icon({ name }: { name: keyof typeof PATHS }) {
  return (
    <svg viewBox="0 0 20 20" width="20" height="20" aria-hidden="true" focusable="false">
      <path d={PATHS[name]} fill="none" stroke="currentColor" stroke-width="1.6" stroke-linecap="round" stroke-linejoin="round" />
    </svg>
  );
}
