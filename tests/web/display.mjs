// What the glass shows in other states, device faults, the picture as a file.
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "./serial.mjs";
import { PNG } from "pngjs";
import { ownPage, ownSimulator, page, pixel, simulator } from "./context.mjs";
import { eventually } from "./simulator.mjs";

test("a display that is off is dark, and the page says so", async (t) => {
  const own = await ownSimulator(t);
  const ownView = await ownPage(t, own.address);
  own.send("g:rect 0 0 0 96 64 white white");
  own.send("g:flush 0");
  await eventually("light", async () => (await pixel(ownView, 48, 32)) > 150);
  own.send("a:set 403 0");
  await eventually("darkness", async () => (await pixel(ownView, 48, 32)) < 60);
  await ownView.getByText("Display off").waitFor();
  await ownView.locator(".output", { hasText: "OLED Display Reset_N" }).getByText("In reset").waitFor();
});

test("the wrong variant shows the picture shifted", async (t) => {
  const own = await ownSimulator(t, { options: ["--panel", "1", "--disptype", "0"] });
  const ownView = await ownPage(t, own.address);
  own.send("g:rect 0 10 0 1 64 white white");
  own.send("g:flush 0");
  await eventually("the shifted column", async () => (await pixel(ownView, 6, 32)) > 150);
  assert.ok((await pixel(ownView, 10, 32)) < 60);
  assert.equal(await ownView.locator("#variant").textContent(), "1");
});

test("the picture as a file is what the glass shows", async () => {
  simulator.send("g:clear 0");
  simulator.send("g:rect 0 20 30 8 4 white white");
  simulator.send("g:flush 0");
  await eventually("the picture", async () => (await pixel(page, 21, 31)) > 100);
  const waiting = page.waitForEvent("download");
  await page.getByRole("link", { name: "Save picture" }).click();
  const download = await waiting;
  assert.match(download.suggestedFilename(), /^panel-\d+\.png$/);
  const answer = await fetch(new URL("picture.png?scale=2", simulator.address));
  const picture = PNG.sync.read(Buffer.from(await answer.arrayBuffer()));
  assert.deepEqual([picture.width, picture.height], [192, 128]);
  const lit = (x, y) => picture.data[4 * (2 * y * picture.width + 2 * x)] === 255;
  assert.deepEqual([lit(20, 30), lit(27, 33), lit(19, 30), lit(28, 33)], [true, true, false, false]);
  for (const scale of ["0", "33", "x", ""]) {
    assert.equal((await fetch(new URL(`picture.png?scale=${scale}`, simulator.address))).status, 400);
  }
});

test("the next transfer fails when it is told to, and the one after does not", async () => {
  const frame = async () => Number((await page.locator("#frame").textContent()).replace(/\D/g, ""));
  const before = await frame();
  await page.getByRole("button", { name: "Fail next transfer: Display data" }).click();
  await page.waitForTimeout(50);
  simulator.send("g:pixel 0 0 0 white");
  simulator.send("g:flush 0");
  simulator.send("g:info");
  await simulator.line(/^OnDisplayInfo1/);
  await page.waitForTimeout(150);
  assert.equal(await frame(), before);
  simulator.send("g:flush 0 1");
  await eventually("the next frame", async () => (await frame()) === before + 1);
});

test("a device is unplugged and plugged in again", async () => {
  const knob = page.locator(".device", { hasText: "/dev/input/event3" });
  await knob.getByRole("button", { name: "Unplug: Rear knob" }).click();
  await knob.getByText("Gone").waitFor();
  await knob.getByRole("button", { name: "Plug in: Rear knob" }).click();
  await knob.getByText("Present").waitFor();
});

test("the record button writes a recording, and the page tells where", async (t) => {
  const folder = mkdtempSync(join(tmpdir(), "beltpack-web-"));
  t.after(() => rmSync(folder, { recursive: true }));
  const own = await ownSimulator(t, { options: ["--artifacts", folder] });
  const view = await ownPage(t, own.address);
  for (const name of ["beltpack-1.rec", "beltpack-2.rec"]) {
    const file = join(folder, name);
    await view.getByRole("button", { name: "Record", exact: true }).click();
    await view.getByText(`Recording to ${file}`).waitFor();
    own.send("g:info");
    await own.line(/^OnDisplayInfo1/);
    await view.getByRole("button", { name: "Stop recording", pressed: true }).click();
    await view.getByText(`Recorded in ${file}`).waitFor();
    assert.match(readFileSync(file, "utf8"), /OnDisplayInfo1.*\n.*"end"/);
  }
});

test("a recording that cannot be written is told", async (t) => {
  const own = await ownSimulator(t, { options: ["--artifacts", "/no-such-folder"] });
  const view = await ownPage(t, own.address);
  await view.getByRole("button", { name: "Record", exact: true }).click();
  await view.getByText("cannot write /no-such-folder/beltpack-1.rec: No such file or directory").waitFor();
  await view.getByRole("button", { name: "Record", exact: true, pressed: false }).waitFor();
});
