import { IconButton } from "../parts/IconButton";
import { trouble } from "../state/store";

/** What went wrong, in words, and the way on. */
export function TroubleBox() {
  const wrong = trouble.value;
  return (
    <div class="alert" role="alert">
      {wrong !== null && (
        <div class="trouble">
          <p>{wrong.message}</p>
          {wrong.retry !== null && (
            <button type="button" onClick={wrong.retry.run}>
              {wrong.retry.label}
            </button>
          )}
          <IconButton icon="close" label="Close this message" onClick={() => (trouble.value = null)} />
        </div>
      )}
    </div>
  );
}
