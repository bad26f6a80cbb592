/** A long number that two programs are compared by. */
export function Digest({ label, value }: { label: string; value: string }) {
  return (
    <p class="digest">
      <span>{label}</span> <code>{value}</code>
    </p>
  );
}
