import type { ComponentProps } from "preact";
import { Icon, type IconName } from "./icons";

/** A button that shows a sign alone; its label is its name and its tip. */
export function IconButton({ icon, label, ...rest }: { icon: IconName; label: string } & ComponentProps<"button">) {
  return (
    <button type="button" class="icon-button" aria-label={label} title={label} {...rest}>
      <Icon name={icon} />
    </button>
  );
}
