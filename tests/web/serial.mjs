// Tests one after the other: some versions of Node.js start all of a process at once, and these share a page.
import { test as begin } from "node:test";

let last = Promise.resolve();

export function test(name, body) {
  begin(name, (t) => {
    const run = last.then(() => body(t));
    last = run.catch(() => {});
    return run;
  });
}
