/** On or off. The label is next to it, or is the name alone that screen readers say. */
export function Switch(props: { label: string; checked: boolean; onSwitch: (on: boolean) => void; id?: string; describedBy?: string | undefined }) {
  return (
    <input
      type="checkbox"
      role="switch"
      class="switch"
      id={props.id}
      aria-label={props.label}
      aria-describedby={props.describedBy}
      checked={props.checked}
      onChange={(event) => props.onSwitch(event.currentTarget.checked)}
    />
  );
}
