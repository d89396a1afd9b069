// What the module asks of its surroundings (WASI, preview 1): clocks, the standard streams, and files, which are kept in
// memory here and go nowhere. Everything else there is to be asked for it does not import.

const SUCCESS = 0;
const BAD_DESCRIPTOR = 8;
const NO_ENTRY = 44;
const INVALID = 28;

const FIRST_FILE = 4;
const ROOT = 3;
const STANDARD_ERROR = 2;
const CHARACTER_DEVICE = 2;
const DIRECTORY = 3;
const REGULAR_FILE = 4;
const ALL_RIGHTS = 0xffffffffffffffffn;

const CREATE = 1;
const TRUNCATE = 8;
const REALTIME = 0;

/** The module has ended its own run, which it does only where it cannot go on. */
export class Exit extends Error {}

/** A file in memory, open: bytes are there up to size. */
interface OpenFile {
  readonly file: { bytes: Uint8Array; size: number };
  at: number;
}

export class Surroundings {
  /** Set once the module is there. */
  memory: WebAssembly.Memory | null = null;
  private readonly files = new Map<string, OpenFile["file"]>();
  private readonly open = new Map<number, OpenFile>();
  private line = "";

  /** log: receives what the module writes to the standard streams, line by line. */
  constructor(private readonly log: (line: string) => void) {}

  /** What was written into the file of that name, which is gone then. */
  takeFile(name: string): Uint8Array {
    const file = this.files.get(name);
    this.files.delete(name);
    return file ? file.bytes.subarray(0, file.size) : new Uint8Array();
  }

  get imports(): WebAssembly.Imports {
    const calls = {
      proc_exit: (code: number): never => {
        throw new Exit(`it ended with the exit code ${code}`);
      },
      clock_time_get: (clock: number, _precision: bigint, time: number) => {
        const milliseconds = clock === REALTIME ? Date.now() : performance.now();
        this.view.setBigUint64(time, BigInt(Math.round(milliseconds * 1e6)), true);
        return SUCCESS;
      },
      fd_close: (fd: number) => (this.open.delete(fd) ? SUCCESS : BAD_DESCRIPTOR),
      fd_fdstat_get: (fd: number, stat: number) => this.describe(fd, stat),
      fd_prestat_get: (fd: number, prestat: number) => {
        if (fd !== ROOT) return BAD_DESCRIPTOR;
        this.view.setUint32(prestat, 0, true);
        this.view.setUint32(prestat + 4, 1, true);
        return SUCCESS;
      },
      fd_prestat_dir_name: (fd: number, path: number, _length: number) => {
        if (fd !== ROOT) return BAD_DESCRIPTOR;
        this.bytes[path] = "/".charCodeAt(0);
        return SUCCESS;
      },
      fd_read: (fd: number, pieces: number, count: number, done: number) =>
        this.transfer(fd, pieces, count, done, (file, piece) => {
          const read = file.file.bytes.subarray(file.at, Math.min(file.file.size, file.at + piece.length));
          piece.set(read);
          return read.length;
        }),
      fd_seek: (fd: number, offset: bigint, whence: number, place: number) => this.seek(fd, Number(offset), whence, place),
      fd_write: (fd: number, pieces: number, count: number, done: number) => this.write(fd, pieces, count, done),
      path_open: (_fd: number, _follow: number, path: number, length: number, how: number, _base: bigint,
                  _inheriting: bigint, _flags: number, opened: number) => this.openPath(path, length, how, opened),
    };
    // What else the C library knows of files, it is told that there is no such thing.
    const missing = { get: (known: typeof calls, name: string) => known[name as keyof typeof calls] ?? (() => NO_ENTRY) };
    return { wasi_snapshot_preview1: new Proxy(calls, missing) as unknown as WebAssembly.ModuleImports };
  }

  private get view(): DataView {
    return new DataView(this.memory!.buffer);
  }

  private get bytes(): Uint8Array {
    return new Uint8Array(this.memory!.buffer);
  }

  private describe(fd: number, stat: number): number {
    if (fd > ROOT && !this.open.has(fd)) return BAD_DESCRIPTOR;
    const kind = fd < ROOT ? CHARACTER_DEVICE : fd === ROOT ? DIRECTORY : REGULAR_FILE;
    this.bytes.fill(0, stat, stat + 24);
    this.bytes[stat] = kind;
    this.view.setBigUint64(stat + 8, ALL_RIGHTS, true);
    this.view.setBigUint64(stat + 16, ALL_RIGHTS, true);
    return SUCCESS;
  }

  private openPath(path: number, length: number, how: number, opened: number): number {
    const name = new TextDecoder().decode(this.bytes.slice(path, path + length));
    let file = this.files.get(name);
    if (!file && !(how & CREATE)) return NO_ENTRY;
    if (!file || how & TRUNCATE) this.files.set(name, (file = { bytes: new Uint8Array(), size: 0 }));
    let fd = FIRST_FILE;
    while (this.open.has(fd)) ++fd;
    this.open.set(fd, { file, at: 0 });
    this.view.setUint32(opened, fd, true);
    return SUCCESS;
  }

  private seek(fd: number, offset: number, whence: number, place: number): number {
    const file = this.open.get(fd);
    if (!file) return BAD_DESCRIPTOR;
    const at = offset + [0, file.at, file.file.size][whence]!;
    if (!(at >= 0)) return INVALID;
    file.at = at;
    this.view.setBigUint64(place, BigInt(at), true);
    return SUCCESS;
  }

  private write(fd: number, pieces: number, count: number, done: number): number {
    if (fd <= STANDARD_ERROR) {
      let size = 0;
      for (const piece of this.pieces(pieces, count)) {
        this.print(new TextDecoder().decode(piece.slice()));
        size += piece.length;
      }
      this.view.setUint32(done, size, true);
      return SUCCESS;
    }
    return this.transfer(fd, pieces, count, done, (file, piece) => {
      const end = file.at + piece.length;
      if (end > file.file.bytes.length) {
        const larger = new Uint8Array(Math.max(end, 2 * file.file.bytes.length));
        larger.set(file.file.bytes);
        file.file.bytes = larger;
      }
      file.file.bytes.set(piece, file.at);
      file.file.size = Math.max(file.file.size, end);
      return piece.length;
    });
  }

  private transfer(fd: number, pieces: number, count: number, done: number,
                   move: (file: OpenFile, piece: Uint8Array) => number): number {
    const file = this.open.get(fd);
    if (!file) return BAD_DESCRIPTOR;
    let size = 0;
    for (const piece of this.pieces(pieces, count)) {
      const moved = move(file, piece);
      file.at += moved;
      size += moved;
    }
    this.view.setUint32(done, size, true);
    return SUCCESS;
  }

  private *pieces(at: number, count: number): Generator<Uint8Array> {
    for (let i = 0; i < count; ++i) {
      const start = this.view.getUint32(at + 8 * i, true);
      yield this.bytes.subarray(start, start + this.view.getUint32(at + 8 * i + 4, true));
    }
  }

  private print(text: string): void {
    const lines = (this.line + text).split("\n");
    this.line = lines.pop()!;
    for (const line of lines) if (line) this.log(line);
  }
}
