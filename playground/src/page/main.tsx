import { render } from "preact";
import { lacks } from "../engine/start";
import { App } from "./App";
import { listenToKeys } from "./keys";
import { start } from "./state/session";
import { trouble } from "./state/store";
import "./style/base.css";
import "./style/layout.css";
import "./style/parts.css";
import "./style/views.css";
import "./style/chain.css";

const root = document.getElementById("app");
if (root !== null) {
  root.replaceChildren();
  render(<App />, root);
}
const missing = lacks();
if (missing === null) {
  listenToKeys();
  void start();
} else trouble.value = { message: missing, retry: null };
