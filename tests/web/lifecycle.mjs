// Several pages, pages that stall or go, and how it all ends.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdtempSync, readFileSync, readdirSync, rmdirSync } from "node:fs";
import { request } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "./serial.mjs";
import { ownPage, ownSimulator, page, pixel, program, simulator } from "./context.mjs";
import { eventually } from "./simulator.mjs";

// The processes that a process has started.
function childrenOf(pid) {
  return readFileSync(`/proc/${pid}/task/${pid}/children`, "utf8").trim().split(" ").map(Number);
}

// Asks for a WebSocket and reads nothing of what comes.
function deafPage(port) {
  return new Promise((resolve) => {
    const asking = request({
      host: "127.0.0.1", port, path: "/panel",
      headers: { Connection: "Upgrade", Upgrade: "websocket", "Sec-WebSocket-Version": "13", "Sec-WebSocket-Key": "dGhlIHNhbXBsZSBub25jZQ==" },
    });
    asking.on("upgrade", (answer, socket) => resolve(socket.pause()));
    asking.end();
  });
}

test("two pages show the same panel", async (t) => {
  const second = await ownPage(t, simulator.address, { viewport: { width: 390, height: 844 } });
  await page.locator("h1").click();
  await page.keyboard.down("a");
  await second.locator('[data-key="Call_1"] .key[data-held="true"]').waitFor();
  await page.keyboard.up("a");
  await second.locator('[data-key="Call_1"] .key[data-held="false"]').waitFor();
  simulator.send("g:clear 0");
  simulator.send("g:rect 0 80 50 6 6 white white");
  simulator.send("g:flush 0");
  for (const view of [page, second]) {
    await eventually("the rectangle", async () => (await pixel(view, 82, 52)) > 100);
  }
});

test("a page that is gone lets its keys go", async (t) => {
  const leaving = await ownPage(t, simulator.address);
  await leaving.keyboard.down("q");
  await simulator.line(/^OnFpKey\(1,1,/);
  await leaving.close({ runBeforeUnload: false });
  await simulator.line(/^OnFpKey\(1,-1,/);
});

test("a page that stalls, and one that never reads, hold up nobody and catch up", async (t) => {
  const own = await ownSimulator(t);
  const deaf = await deafPage(own.port);
  const view = await ownPage(t, own.address);
  const stall = view.evaluate(() => {
    for (const end = performance.now() + 1500; performance.now() < end;);
  });
  const frames = Array.from({ length: 800 }, (_, i) => `g:rect 0 0 0 96 64 ${i % 2 ? "white white" : "black black"}\ng:flush 0 1`);
  own.send(frames.join("\n"));
  own.send("g:info");
  await own.line(/^OnDisplayInfo1/);
  await stall;
  await eventually("the last frame", async () => (await view.locator("#frame").textContent()) === "801");
  await eventually("its light", async () => (await pixel(view, 40, 40)) > 100);
  deaf.destroy();
});

test("a second simulator on the port says so and leaves nothing behind", () => {
  const folder = mkdtempSync(join(tmpdir(), "beltpack-web-"));
  const second = spawnSync(program, ["--web", String(simulator.port)], {
    env: { ...process.env, TMPDIR: folder }, input: "", encoding: "utf8", timeout: 10000,
  });
  assert.equal(second.status, 2);
  assert.equal(second.stdout, "");
  assert.equal(second.stderr, `beltpack_sim: cannot offer the page at ${simulator.address}: Address already in use (--web 0 takes a free port)\n`);
  assert.deepEqual(readdirSync(folder), []);
  rmdirSync(folder);
});

test("an address that is none is a usage error", () => {
  for (const address of ["nonsense", "1.2.3:80", "127.0.0.1:70000", "example.org:80", ":80"]) {
    assert.equal(spawnSync(program, ["--web", address], { input: "", timeout: 10000 }).status, 2, address);
  }
});

test("the daemon's crash is shown, and the simulator ends with its status", async (t) => {
  const own = await ownSimulator(t);
  const view = await ownPage(t, own.address);
  const [daemon] = childrenOf(own.process.pid);
  process.kill(daemon, "SIGSEGV");
  await own.ended;
  assert.deepEqual(own.exited, { status: 139, signal: null });
  await view.getByText("The program ended by signal 11 (SIGSEGV), and the simulator with it.").waitFor();
});

test("the daemon's end is shown, also when a page does not listen", async (t) => {
  const own = await ownSimulator(t);
  const view = await ownPage(t, own.address);
  const deaf = await deafPage(own.port);
  own.process.stdin.end();
  await own.ended;
  assert.deepEqual(own.exited, { status: 0, signal: null });
  await view.getByText("The program ended with status 0, and the simulator with it.").waitFor();
  deaf.destroy();
});

test("a simulator that dies is missed", async (t) => {
  const own = await ownSimulator(t);
  const view = await ownPage(t, own.address);
  own.process.kill("SIGKILL");
  await own.ended;
  await view.getByText("Not connected to the simulator.").waitFor();
});

test("the programs that are started do not inherit the page's sockets", async (t) => {
  const own = await ownSimulator(t);
  await ownPage(t, own.address);
  const [daemon] = childrenOf(own.process.pid);
  const sockets = readdirSync(`/proc/${daemon}/fd`);
  const port = own.port.toString(16).toUpperCase().padStart(4, "0");
  const inodes = readFileSync("/proc/net/tcp", "utf8").split("\n").filter((line) => line.includes(`:${port} `)).map((line) => line.trim().split(/\s+/)[9]);
  assert.ok(inodes.length > 0 && sockets.length > 0);
  const { readlinkSync } = await import("node:fs");
  const held = sockets.map((fd) => {
    try {
      return readlinkSync(`/proc/${daemon}/fd/${fd}`);
    } catch {
      return "";
    }
  });
  assert.ok(inodes.every((inode) => inode === "0" || !held.includes(`socket:[${inode}]`)));
});
