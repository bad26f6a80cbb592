// Light or dark: as the system has it, until the user chooses.
import { computed, effect, signal } from "@preact/signals";

export const themes = ["system", "light", "dark"] as const;
export type Theme = (typeof themes)[number];

const key = "filter-processor-theme";
const system = matchMedia("(prefers-color-scheme: dark)");
const systemDark = signal(system.matches);
system.addEventListener("change", () => (systemDark.value = system.matches));

export const theme = signal<Theme>(kept());
export const darkness = computed(() => (theme.value === "system" ? systemDark.value : theme.value === "dark"));

effect(() => {
  document.documentElement.dataset["theme"] = darkness.value ? "dark" : "light";
  keep(theme.value);
});

/** Pages that may not keep anything, as in a private window, start with the system's. */
function kept(): Theme {
  try {
    return themes.find((name) => name === localStorage.getItem(key)) ?? "system";
  } catch {
    return "system";
  }
}

function keep(name: Theme): void {
  try {
    localStorage.setItem(key, name);
  } catch {
    // Then it is chosen again.
  }
}
