import { Chain } from "./chain/Chain";
import { Histogram } from "./numbers/Histogram";
import { Header } from "./Header";
import { CameraForm } from "./source/CameraForm";
import { DropZone } from "./source/DropZone";
import { SourceBar } from "./source/SourceBar";
import { Announcer } from "./status/Announcer";
import { TroubleBox } from "./status/TroubleBox";
import { Take } from "./take/Take";
import { Views } from "./views/Views";

export function App() {
  return (
    <DropZone>
      <a class="skip" href="#views" onClick={skipToViews}>
        Skip to the views
      </a>
      <Header />
      <main>
        <TroubleBox />
        <SourceBar />
        <div class="columns">
          <Views />
          <div class="rail">
            <Chain />
            <CameraForm />
          </div>
          <div class="results">
            <Histogram />
            <Take />
          </div>
        </div>
      </main>
      <Announcer />
    </DropZone>
  );
}

/** The address holds the state, so no link of the page may change it. */
function skipToViews(event: Event): void {
  event.preventDefault();
  document.querySelector<HTMLElement>(".panes")?.focus();
}
