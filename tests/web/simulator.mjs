// The simulator as a process, with the daemon's lines and the page's address.
import { spawn } from "node:child_process";
import { once } from "node:events";
import { createInterface } from "node:readline";

const WAIT_MS = 10000;

// Waits until the function gives something true, and gives that.
export async function eventually(what, look, milliseconds = WAIT_MS) {
  const end = performance.now() + milliseconds;
  for (;;) {
    const found = await look();
    if (found) {
      return found;
    }
    if (performance.now() > end) {
      throw new Error(`in vain for ${milliseconds} ms: ${what}`);
    }
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
}

export class Simulator {
  lines = []; // of standard output
  errors = ""; // of standard error
  exited = null; // {status, signal} at the end
  #listeners = new Set();
  #seen = 0; // lines that were waited for

  // The daemon, unless a command is given. Resolves when the page is there and the daemon is ready.
  static async start(program, { options = [], command = [], web = true } = {}) {
    const simulator = new Simulator(program, [...(web ? ["--web", "0"] : []), ...options], command);
    if (web) {
      await simulator.url();
    }
    if (command.length === 0) {
      await simulator.line(/^OnFpKey\(99,/);
    }
    return simulator;
  }

  constructor(program, options, command) {
    const words = [...options, ...(command.length > 0 ? ["--", ...command] : [])];
    this.process = spawn(program, words);
    this.process.stdin.on("error", () => {}); // it may have ended
    createInterface(this.process.stdout).on("line", (line) => {
      this.lines.push(line);
      this.#listeners.forEach((listener) => listener(line));
    });
    this.process.stderr.on("data", (text) => (this.errors += text));
    this.ended = once(this.process, "close").then(
      ([status, signal]) => (this.exited = { status, signal }),
      (error) => (this.errors += `${error}\n`),
    );
  }

  async url() {
    const look = () => {
      if (this.exited || this.process.exitCode !== null || this.process.pid === undefined) {
        throw new Error(`the simulator does not start: ${this.errors}`);
      }
      return this.errors.match(/the panel is at (\S+)\n/)?.[1];
    };
    this.address = await eventually("the page's address", look);
    return this.address;
  }

  get port() {
    return Number(new URL(this.address).port);
  }

  send(line) {
    this.process.stdin.write(`${line}\n`);
  }

  // The next line of the daemon that matches, behind those that were waited for.
  line(pattern) {
    return eventually(`a line ${pattern}`, () => {
      const index = this.lines.findIndex((line, i) => i >= this.#seen && pattern.test(line));
      this.#seen = index < 0 ? this.#seen : index + 1;
      return index < 0 ? null : this.lines[index];
    });
  }

  // Calls with every line from now on; gives a function that ends it.
  onLine(listener) {
    this.#listeners.add(listener);
    return () => this.#listeners.delete(listener);
  }

  async stop() {
    this.process.stdin.end();
    await Promise.race([this.ended, new Promise((resolve) => setTimeout(resolve, WAIT_MS))]);
    if (!this.exited) {
      this.process.kill("SIGKILL");
      throw new Error("the simulator does not end");
    }
    return this.exited;
  }
}
