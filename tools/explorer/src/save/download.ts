// Texts as files, and into the clipboard; both answer what is to be told.

export function saveText(name: string, text: string, type: string): string {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(new Blob([text], { type }));
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10_000);
  return `Saved as ${name}.`;
}

export function copyText(text: string, told: string): string {
  const field = document.createElement("textarea");
  field.value = text;
  field.className = "unseen";
  document.body.append(field);
  field.select();
  // The way that pages opened from files have everywhere; it is done at once, or not at all.
  const isCopied = document.execCommand("copy");
  field.remove();
  if (!isCopied) throw new Error("The browser does not let this page use the clipboard. The link is in the address bar.");
  return told;
}
