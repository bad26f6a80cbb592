// Files that are dropped or chosen, each with its path below the folder as its name: camera.json belongs
// to the frames beside it.

const frameEndings = /\.(png|pgm|bin|raw|npy|mcap)$/i;

/** The files of what was dropped, also of folders. */
export async function droppedFiles(data: DataTransfer): Promise<File[]> {
  // The list of items is empty once this function has waited for something.
  const entries = [...data.items].map((item) => item.webkitGetAsEntry());
  const files = [...data.files];
  if (entries.includes(null)) return files;
  const known = entries.filter((entry) => entry !== null);
  return (await Promise.all(known.map(filesOf))).flat();
}

export function chosenFiles(list: FileList | null): File[] {
  return [...(list ?? [])].map((file) => named(file, file.webkitRelativePath));
}

/** Of a folder with frames nothing that lies deeper: a home directory may hang below it. */
async function filesOf(entry: FileSystemEntry): Promise<File[]> {
  if (isFile(entry)) {
    const file = await new Promise<File>((resolve, reject) => entry.file(resolve, reject));
    return [named(file, entry.fullPath.replace(/^\//, ""))];
  }
  if (!isDirectory(entry)) return [];
  const inside = await allEntries(entry.createReader());
  const frames = inside.some((file) => file.isFile && frameEndings.test(file.name));
  const wanted = frames ? inside.filter((file) => file.isFile) : inside;
  return (await Promise.all(wanted.map(filesOf))).flat();
}

/** A reader gives a hundred entries at a time, and none at the end. */
async function allEntries(reader: FileSystemDirectoryReader): Promise<FileSystemEntry[]> {
  const some = await new Promise<FileSystemEntry[]>((resolve, reject) => reader.readEntries(resolve, reject));
  return some.length === 0 ? [] : [...some, ...(await allEntries(reader))];
}

function isFile(entry: FileSystemEntry): entry is FileSystemFileEntry {
  return entry.isFile;
}

function isDirectory(entry: FileSystemEntry): entry is FileSystemDirectoryEntry {
  return entry.isDirectory;
}

function named(file: File, path: string): File {
  if (path === "" || path === file.name) return file;
  return new File([file], path, { type: file.type, lastModified: file.lastModified });
}
