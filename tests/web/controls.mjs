// Keys, knobs, switch: what a person does reaches the daemon, and what the daemon does is seen.
import assert from "node:assert/strict";
import { test } from "./serial.mjs";
import { ownPage, page, pixel, simulator } from "./context.mjs";
import { eventually } from "./simulator.mjs";

const KEYS = { Talk_1: [1, "q"], Call_1: [2, "a"], Talk_2: [3, "p"], Call_2: [4, "l"], Menu: [5, "m"] };
const KNOBS = { Left: [7, "z", "x"], Right: [8, ",", "."], Rear: [6, "v", "b"] };
const button = (name) => page.getByRole("button", { name: name.replace("_", " "), exact: true });
const knob = (name) => page.getByRole("spinbutton", { name: `${name} knob` });
const pressed = (code) => simulator.line(new RegExp(`^OnFpKey\\(${code},1,`));
const released = (code) => simulator.line(new RegExp(`^OnFpKey\\(${code},-1,`));
const turned = (code, way) => simulator.line(new RegExp(`^OnFpKey\\(${code},${way},`));

test("each key is pressed and released with the pointer", async () => {
  for (const [name, [code]] of Object.entries(KEYS)) {
    await button(name).hover();
    await page.mouse.down();
    await pressed(code);
    await page.locator(`[data-key="${name}"] .key[data-held="true"]`).waitFor();
    await page.mouse.up();
    await released(code);
  }
});

test("a key stays pressed while the pointer leaves it", async () => {
  await button("Talk_1").hover();
  await page.mouse.down();
  await pressed(1);
  await page.mouse.move(5, 5);
  await page.mouse.up();
  await released(1);
});

test("each key is pressed and released with space", async () => {
  for (const [name, [code]] of Object.entries(KEYS)) {
    await button(name).focus();
    await page.keyboard.down(" ");
    await pressed(code);
    await page.keyboard.up(" ");
    await released(code);
  }
});

test("each key has a shortcut, also two at a time", async () => {
  for (const [code, letter] of Object.values(KEYS)) {
    await page.keyboard.down(letter);
    await pressed(code);
    await page.keyboard.up(letter);
    await released(code);
  }
  await page.keyboard.down("q");
  await page.keyboard.down("p");
  await pressed(1);
  await pressed(3);
  await page.keyboard.up("q");
  await released(1);
  await page.keyboard.up("p");
  await released(3);
});

test("a key is pressed and released by a click of assistive technology", async () => {
  await button("Call_2").evaluate((element) => element.click());
  await pressed(4);
  await released(4);
});

test("keys are released when the window loses the keyboard", async () => {
  await page.keyboard.down("q");
  await pressed(1);
  await page.evaluate(() => window.dispatchEvent(new Event("blur")));
  await released(1);
  await page.keyboard.up("q");
});

test("shortcuts can be switched off", async () => {
  const shortcuts = page.getByRole("switch", { name: "Shortcuts" });
  await shortcuts.uncheck();
  await page.keyboard.press("q");
  await shortcuts.check();
  await page.keyboard.down("m");
  assert.match(await simulator.line(/^OnFpKey\([15],1,/), /^OnFpKey\(5,/);
  await page.keyboard.up("m");
  await released(5);
});

test("each knob turns by keys, wheel, buttons and shortcuts", async () => {
  for (const [name, [code, counter, clockwise]] of Object.entries(KNOBS)) {
    await knob(name).focus();
    await page.keyboard.press("ArrowUp");
    await turned(code, 2);
    await page.keyboard.press("ArrowDown");
    await turned(code, -2);
    await knob(name).hover();
    await page.mouse.wheel(0, -60);
    await turned(code, 2);
    await page.mouse.wheel(0, 60);
    await turned(code, -2);
    await page.getByRole("button", { name: `${name} knob clockwise` }).click();
    await turned(code, 2);
    await page.getByRole("button", { name: `${name} knob counter-clockwise` }).click();
    await turned(code, -2);
    await page.keyboard.press(clockwise);
    await turned(code, 2);
    await page.keyboard.press(counter);
    await turned(code, -2);
  }
});

test("page keys turn ten detents, and the knob tells how far it is turned", async () => {
  await knob("Left").focus();
  await page.keyboard.press("PageUp");
  await page.locator('[data-knob="Left"] [aria-valuenow="10"]').waitFor();
  assert.equal(await knob("Left").getAttribute("aria-valuetext"), "10 detents");
  await page.keyboard.press("PageDown");
  await page.locator('[data-knob="Left"] [aria-valuenow="0"]').waitFor();
});

test("a knob follows the pointer around its middle", async () => {
  const box = await knob("Right").boundingBox();
  const [x, y, radius] = [box.x + box.width / 2, box.y + box.height / 2, box.width / 3];
  const at = (degrees) => {
    const angle = (degrees * Math.PI) / 180;
    return page.mouse.move(x + radius * Math.cos(angle), y + radius * Math.sin(angle));
  };
  await at(0);
  await page.mouse.down();
  for (let degrees = 0; degrees <= 95; degrees += 5) {
    await at(degrees);
  }
  await page.mouse.up();
  await page.locator('[data-knob="Right"] [aria-valuenow="6"]').waitFor();
});

test("a finger presses a key and turns a knob", async (t) => {
  const phone = await ownPage(t, simulator.address, { viewport: { width: 390, height: 844 }, hasTouch: true });
  const box = await phone.locator('[data-key="Talk_2"] .key').boundingBox();
  const touch = await phone.context().newCDPSession(phone);
  const point = { x: box.x + box.width / 2, y: box.y + box.height / 2 };
  await touch.send("Input.dispatchTouchEvent", { type: "touchStart", touchPoints: [point] });
  await pressed(3);
  await touch.send("Input.dispatchTouchEvent", { type: "touchEnd", touchPoints: [] });
  await released(3);
  await phone.getByRole("button", { name: "Left knob clockwise" }).tap();
  await turned(7, 2);
});

test("the headphone switch stays as it is put", async () => {
  const jack = page.getByRole("switch", { name: "Headphones" });
  await jack.click();
  await simulator.line(/^OnFpKey\(99,1,/);
  await page.locator('#headphones[aria-checked="true"]').waitFor();
  await page.locator("h1").click(); // elsewhere: shortcuts work there, too
  await page.keyboard.press("h");
  await simulator.line(/^OnFpKey\(99,-1,/);
  await page.locator('#headphones[aria-checked="false"]').waitFor();
});

test("lights show their real level, in light and in numbers", async () => {
  const level = (key, colour) => page.locator(`[data-key="${key}"] [data-colour="${colour}"] b`);
  const opacity = (key, colour) =>
    page.locator(`[data-key="${key}"] .${colour}`).evaluate((light) => Number(getComputedStyle(light, "::after").opacity));
  simulator.send("a:set 559 254");
  simulator.send("a:set 9 1");
  simulator.send("a:set 562 36");
  simulator.send("a:set 12 2");
  await eventually("green 254", async () => (await level("Talk_1", "grn").textContent()) === "254");
  await eventually("red 36", async () => (await level("Call_2", "red").textContent()) === "36");
  assert.equal(await level("Talk_1", "red").textContent(), "0");
  assert.ok((await opacity("Talk_1", "green")) > 0.99);
  assert.ok((await opacity("Call_2", "red")) > 0.3 && (await opacity("Call_2", "red")) < 0.8);
  assert.equal(await opacity("Talk_1", "red"), 0);
  simulator.send("a:set 20 0");
  await eventually("dark again", async () => (await level("Talk_1", "grn").textContent()) === "0");
});

test("pixels are lit where the daemon draws, with dark gaps between them", async () => {
  simulator.send("g:rect 0 10 10 5 5 white white");
  simulator.send("g:flush 0");
  await eventually("a lit pixel", async () => (await pixel(page, 12, 12)) > 150);
  assert.ok((await pixel(page, 9, 12)) < 60);
  assert.ok((await pixel(page, 15, 12)) < 60);
  const gap = await pixel(page, 12.35, 12);
  assert.ok(gap < 90, `a gap of brightness ${gap}`);
});

test("contrast is brightness", async () => {
  const shown = [];
  for (const [step, contrast] of [[0, "4"], [5, "82"], [10, "254"]]) {
    simulator.send(`a:set 201 ${step}`);
    await page.locator("#contrast", { hasText: new RegExp(`^${contrast}$`) }).waitFor();
    shown.push(await pixel(page, 12, 12));
  }
  assert.ok(shown[0] + 30 < shown[1] && shown[1] + 30 < shown[2], `brightness ${shown}`);
});

test("outputs and gain are shown in words and numbers", async () => {
  const state = (name) => page.locator(".output", { hasText: name }).locator(".output-state");
  simulator.send("a:set 400 1");
  simulator.send("a:set 402 0");
  simulator.send("a:set 204 43");
  await eventually("the power light", async () => (await state("Power LED").textContent()) === "On");
  await eventually("the reset line", async () => (await state("Mic ADC Reset_N").textContent()) === "In reset");
  assert.equal(await state("OLED Display Reset_N").textContent(), "Released");
  await page.locator("#gain-code", { hasText: /^9$/ }).waitFor();
  simulator.send("a:set 401 1");
  await page.locator('.housing[data-vibrating="true"]').waitFor();
  simulator.send("a:set 401 0");
  simulator.send("a:set 400 0");
  await page.locator('.housing[data-vibrating="false"]').waitFor();
});

test("a page without faults", () => assert.deepEqual(page.faults, []));
