// Light or dark: what the system says, or what was chosen here.

export type Theme = "auto" | "light" | "dark";
const KEY = "bravic-theme";

export function storedTheme(): Theme {
  try {
    const stored = localStorage.getItem(KEY);
    return stored === "light" || stored === "dark" ? stored : "auto";
  } catch {
    return "auto"; // pages of files may keep nothing
  }
}

export function setTheme(theme: Theme): void {
  document.documentElement.dataset.theme = theme;
  try {
    localStorage.setItem(KEY, theme);
  } catch {
    // It holds until the page is closed.
  }
}

export function nextTheme(theme: Theme): Theme {
  return theme === "auto" ? "light" : theme === "light" ? "dark" : "auto";
}
