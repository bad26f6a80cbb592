// Drawn signs of buttons; what a button does stands in its label.

const paths = {
  play: "M7 4.5v15l13-7.5z",
  pause: "M6 4.5h4.5v15H6zM13.5 4.5H18v15h-4.5z",
  back: "M15.5 5v14L7 12z",
  forward: "M8.5 5v14l8.5-7z",
  first: "M6 5h2.5v14H6zM19 5v14l-9-7z",
  undo: "M8 4 3 9l5 5v-3.5h6a4 4 0 0 1 0 8H9V21h5a6.5 6.5 0 0 0 0-13H8z",
  redo: "M16 4l5 5-5 5v-3.5h-6a4 4 0 0 0 0 8h5V21h-5a6.5 6.5 0 0 1 0-13h6z",
  grip: "M8 5h3v3H8zM13 5h3v3h-3zM8 10.5h3v3H8zM13 10.5h3v3h-3zM8 16h3v3H8zM13 16h3v3h-3z",
  close: "M6.4 5 5 6.4 10.6 12 5 17.6 6.4 19 12 13.4 17.6 19l1.4-1.4-5.6-5.6L19 6.4 17.6 5 12 10.6z",
  reset: "M12 5V1.5L7 6l5 4.5V7.3a5 5 0 1 1-5 5H4.7A7.3 7.3 0 1 0 12 5z",
  fold: "M6 9l6 6 6-6-1.5-1.5L12 12 7.5 7.5z",
} as const;

export type IconName = keyof typeof paths;

export function Icon({ name }: { name: IconName }) {
  return (
    <svg class="icon" viewBox="0 0 24 24" aria-hidden="true">
      <path d={paths[name]} />
    </svg>
  );
}
