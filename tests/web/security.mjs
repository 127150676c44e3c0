// What the server refuses, and that nothing of it disturbs the panel.
import assert from "node:assert/strict";
import { request } from "node:http";
import { connect } from "node:net";
import { test } from "./serial.mjs";
import { page, simulator, ownSimulator } from "./context.mjs";
import { eventually } from "./simulator.mjs";

const UPGRADE = {
  Connection: "Upgrade", Upgrade: "websocket", "Sec-WebSocket-Version": "13", "Sec-WebSocket-Key": "dGhlIHNhbXBsZSBub25jZQ==",
};

// The status of the answer, or "closed".
function ask(path, headers = {}, { method = "GET", body = "", port = simulator.port } = {}) {
  return new Promise((resolve) => {
    const asking = request({ host: "127.0.0.1", port, path, method, headers, setHost: !("Host" in headers) });
    asking.on("response", (answer) => {
      answer.resume();
      resolve(answer.statusCode);
    });
    asking.on("upgrade", (answer, socket) => {
      socket.destroy();
      resolve(answer.statusCode);
    });
    asking.on("error", () => resolve("closed"));
    asking.end(body);
  });
}

// What the server writes to these bytes until it closes the connection.
function raw(bytes, port = simulator.port) {
  return new Promise((resolve) => {
    let text = "";
    const socket = connect(port, "127.0.0.1", () => socket.write(bytes));
    socket.on("data", (data) => (text += data));
    socket.on("error", () => {});
    socket.on("close", () => resolve(text));
  });
}

// Opens a WebSocket in the page, sends these texts, and gives the code with which it was closed.
function closeCode(messages) {
  return page.evaluate((texts) => new Promise((resolve) => {
    const socket = new WebSocket(`ws://${location.host}/panel`);
    socket.onopen = () => texts.forEach((text) => socket.send(text));
    socket.onclose = (event) => resolve(event.code);
  }), messages);
}

// Starts now and is looked at last: the time-out is what it waits for.
let unfinished = null;
test("a request that does not come to its end is begun", () => {
  const begun = performance.now();
  unfinished = raw(`GET / HTTP/1.1\r\nHost: localhost\r\nX-Slow: `).then((text) => [text, performance.now() - begun]);
});

test("a Host that is not this machine is refused", async () => {
  for (const host of ["evil.example", `evil.example:${simulator.port}`, "127.0.0.1.evil.example", "10.1.2.3", "", "localhost.evil"]) {
    assert.equal(await ask("/", { Host: host }), 403, host);
    assert.equal(await ask("/panel", { ...UPGRADE, Host: host }), 403, host);
  }
  assert.match(await raw("GET / HTTP/1.1\r\nConnection: close\r\n\r\n"), /^HTTP\/1.1 403/);
  const two = `GET / HTTP/1.1\r\nHost: localhost\r\nHost: evil.example\r\nConnection: close\r\n\r\n`;
  assert.match(await raw(two), /^HTTP\/1.1 403/);
  for (const host of [`127.0.0.1:${simulator.port}`, "localhost:9000", "LOCALHOST", "[::1]:80", "127.3.2.1"]) {
    assert.equal(await ask("/", { Host: host }), 200, host);
  }
});

test("an Origin that is not the page is refused", async () => {
  const Host = `127.0.0.1:${simulator.port}`;
  for (const Origin of ["http://evil.example", "null", "http://127.0.0.1:1", `https://${Host}`, "http://localhost"]) {
    assert.equal(await ask("/panel", { ...UPGRADE, Host, Origin }), 403, Origin);
    assert.equal(await ask("/", { Host, Origin }), 403, Origin);
  }
  assert.equal(await ask("/panel", { ...UPGRADE, Host, Origin: `http://${Host}` }), 101);
  assert.equal(await ask("/panel", { ...UPGRADE, Host }), 101);
});

test("another site's script gets no WebSocket", async () => {
  const other = await page.context().newPage();
  await other.goto("about:blank");
  const code = await other.evaluate((port) => new Promise((resolve) => {
    const socket = new WebSocket(`ws://127.0.0.1:${port}/panel`);
    socket.onopen = () => resolve("open");
    socket.onclose = (event) => resolve(event.code);
  }), simulator.port);
  await other.close();
  assert.equal(code, 1006);
});

test("only what there is is served, and only to be read", async () => {
  assert.equal(await ask("/nothing"), 404);
  assert.equal(await ask("/../main.cpp"), 404);
  assert.equal(await ask("/nothing", UPGRADE), 404);
  assert.equal(await ask("/", {}, { method: "POST" }), 405);
  assert.equal(await ask("/", {}, { method: "HEAD" }), 200);
  assert.equal(await ask("/", { "Content-Length": "3" }, { method: "POST", body: "abc" }), 413);
  assert.equal(await ask("/", { "X-Long": "x".repeat(9000) }), 431);
  assert.equal(await raw("\x16\x03\x01 no request\r\n\r\n"), "");
});

test("the browser is told what it may do with the page", async () => {
  const answer = await fetch(simulator.address);
  assert.equal(answer.headers.get("cache-control"), "no-store");
  assert.equal(answer.headers.get("x-content-type-options"), "nosniff");
  const policy = answer.headers.get("content-security-policy");
  assert.match(policy, /default-src 'none'/);
  assert.match(policy, /frame-ancestors 'none'/);
  assert.doesNotMatch(policy, /unsafe|\*/);
});

test("a message that is too large, or none, ends the page's connection", async () => {
  assert.notEqual(await closeCode(["x".repeat(20000)]), 1000);
  for (const message of ["", "{", "[]", "{}", '{"do":"fly"}', '{"do":"press"}', '{"do":"press","key":1}',
    '{"do":"turn","encoder":"Left","detents":10001}', '{"do":"drawn","update":99}', "[".repeat(16000)]) {
    assert.equal(await closeCode([message]), 1008, message.slice(0, 40));
  }
});

test("too many messages end the page's connection", async () => {
  const message = JSON.stringify({ do: "turn", encoder: "Left", detents: 0 });
  assert.equal(await closeCode(Array(4000).fill(message)), 1008);
});

test("too many pages are refused, and there is room again when some are gone", async (t) => {
  const own = await ownSimulator(t);
  const open = () => new Promise((resolve) => {
    const asking = request({ host: "127.0.0.1", port: own.port, path: "/panel", headers: UPGRADE });
    asking.on("upgrade", (answer, socket) => resolve({ status: answer.statusCode, socket }));
    asking.on("response", (answer) => resolve({ status: answer.statusCode }));
    asking.end();
  });
  const pages = [];
  for (let i = 0; i < 8; i++) {
    pages.push(await open());
  }
  assert.deepEqual(pages.map(({ status }) => status), Array(8).fill(101));
  assert.equal((await open()).status, 503);
  pages.forEach(({ socket }) => socket.destroy());
  const again = await eventually("room", async () => {
    const { status, socket } = await open();
    return status === 101 && socket;
  });
  again.destroy();
});

test("too many connections are closed, and the pages that are open go on", async () => {
  const sockets = await Promise.all(Array.from({ length: 100 }, () => new Promise((resolve) => {
    const socket = connect(simulator.port, "127.0.0.1");
    socket.on("error", () => {});
    socket.on("close", () => (socket.gone = true));
    socket.on("connect", () => resolve(socket));
  })));
  await eventually("closed ones", () => sockets.filter((socket) => socket.gone).length >= 36);
  simulator.send("g:among-many");
  await page.locator("li.error", { hasText: "among-many" }).waitFor();
  sockets.forEach((socket) => socket.destroy());
  await eventually("a free one", async () => (await ask("/")) === 200);
});

test("a request that does not come to its end is dropped", async () => {
  const [text, milliseconds] = await unfinished;
  assert.equal(text, "");
  assert.ok(milliseconds > 4000 && milliseconds < 20000, `after ${milliseconds} ms`);
});
