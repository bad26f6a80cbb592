// Texts and files that leave the page.

export function save(name: string, content: string | Uint8Array<ArrayBuffer>, type: string): void {
  const address = URL.createObjectURL(new Blob([content], { type }));
  const link = document.createElement("a");
  link.href = address;
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(address), 10_000);
}

/** Pages that are not served safely have no clipboard; then the text is selected for the user to copy. */
export async function copy(text: string, shown: HTMLElement | null): Promise<boolean> {
  try {
    await navigator.clipboard.writeText(text);
    return true;
  } catch {
    if (shown !== null) getSelection()?.selectAllChildren(shown);
    return false;
  }
}
