import { Choice } from "./parts/Choice";
import { IconButton } from "./parts/IconButton";
import { theme, themes, type Theme } from "./parts/theme";
import { history, redo, undo } from "./state/store";

const titles: Record<Theme, string> = { system: "Auto", light: "Light", dark: "Dark" };

export function Header() {
  return (
    <header>
      <div>
        <h1>Depth filter playground</h1>
        <p>The kernels of FilterProcessor in your browser, bit for bit. Nothing is uploaded.</p>
      </div>
      <div class="header-tools">
        <span role="group" aria-label="History" class="row">
          <IconButton icon="undo" label="Undo (Ctrl+Z)" disabled={history.value.past.length === 0} onClick={undo} />
          <IconButton icon="redo" label="Redo (Ctrl+Shift+Z)" disabled={history.value.future.length === 0} onClick={redo} />
        </span>
        <Choice
          name="theme"
          legend="Light or dark"
          value={theme.value}
          options={themes.map((value) => ({ value, label: titles[value] }))}
          onChoose={(value) => (theme.value = value)}
        />
      </div>
    </header>
  );
}
