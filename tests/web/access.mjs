// Usable by keyboard and by assistive technology, in either appearance, on a phone.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { test } from "./serial.mjs";
import { ownPage, page, simulator } from "./context.mjs";

const axeSource = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const WIDE = { width: 1280, height: 800 };
const PHONE = { width: 390, height: 844 };
const IN_ORDER = [
  "Skip to the lines", "Auto", "Left knob", "Left knob counter-clockwise", "Left knob clockwise", "Talk 1", "Call 1",
  "Menu", "Talk 2", "Call 2", "Right knob", "Right knob counter-clockwise", "Right knob clockwise", "Headphones",
  "Rear knob", "Rear knob counter-clockwise", "Rear knob clockwise", "Save picture", "Record", "Pause", "Clear", "All",
  "Only lines that contain", "Lines", "Line to the daemon", "Send", "Shortcuts",
];

// As the browser's own tools would inject it: the page's rules forbid scripts from elsewhere.
async function violations(of) {
  const found = await of.evaluate(() =>
    window.axe.run(document, {
      runOnly: ["wcag2a", "wcag2aa", "wcag21a", "wcag21aa", "wcag22aa", "best-practice"],
      resultTypes: ["violations"],
    }),
  );
  return found.violations.map(({ id, nodes }) => `${id}: ${nodes.map((node) => node.target).join(", ")}`);
}

test("no violations, wide and narrow, in either appearance", async (t) => {
  const view = await ownPage(t, simulator.address, { reducedMotion: "reduce" });
  await view.locator("li.error").first().waitFor();
  await view.evaluate(axeSource);
  for (const size of [WIDE, PHONE]) {
    await view.setViewportSize(size);
    for (const colorScheme of ["light", "dark"]) {
      await view.emulateMedia({ colorScheme });
      assert.deepEqual(await violations(view), [], `${size.width} points wide, ${colorScheme}`);
    }
    assert.ok(await view.evaluate(() => document.documentElement.scrollWidth <= innerWidth), "wider than the window");
  }
});

test("all of it is reached with Tab, in order, and can be seen to be", async (t) => {
  const view = await ownPage(t, simulator.address);
  const names = [];
  for (let i = 0; i < IN_ORDER.length; i++) {
    await view.keyboard.press("Tab");
    const { name, visible } = await view.evaluate(() => {
      const element = document.activeElement;
      const label = element.getAttribute("aria-label") ??
        document.getElementById(element.getAttribute("aria-labelledby"))?.textContent ??
        element.querySelector?.(".key-name, .jack-name")?.textContent ??
        element.labels?.[0]?.textContent ?? element.textContent;
      const outlined = (of) => of && getComputedStyle(of).outlineStyle !== "none" && parseFloat(getComputedStyle(of).outlineWidth) >= 2;
      return { name: label.trim(), visible: outlined(element) || outlined(element.nextElementSibling) };
    });
    names.push(name);
    assert.ok(visible, `nothing shows that "${name}" has the focus`);
  }
  assert.deepEqual(names, IN_ORDER);
});

test("the slash goes to the line, Escape is left to the browser", async () => {
  await page.locator("h1").click();
  await page.keyboard.press("/");
  assert.equal(await page.evaluate(() => document.activeElement.id), "line");
  await page.keyboard.type("q,z/");
  assert.equal(await page.getByLabel("Line to the daemon").inputValue(), "q,z/");
  await page.getByLabel("Line to the daemon").fill("");
  await page.locator("h1").click();
});

test("a key's name, use and lights are told", async () => {
  const key = page.getByRole("button", { name: "Talk 1", exact: true });
  const description = await key.evaluate((element) => document.getElementById(element.getAttribute("aria-describedby")).textContent);
  assert.match(description, /green light .*\d+.*red light .*\d+/);
});

test("the appearance is chosen, and remembered", async (t) => {
  const view = await ownPage(t, simulator.address, { colorScheme: "light" });
  const back = () => view.evaluate(() => getComputedStyle(document.body).backgroundColor);
  const light = await back();
  await view.getByRole("radio", { name: "Dark" }).check({ force: true });
  const dark = await back();
  assert.notEqual(dark, light);
  await view.reload();
  await view.locator('body[data-connected="true"]').waitFor();
  assert.equal(await back(), dark);
  await view.getByRole("radio", { name: "Auto" }).check({ force: true });
  assert.equal(await back(), light);
});

test("nothing moves for those who want it so", async (t) => {
  const view = await ownPage(t, simulator.address, { reducedMotion: "reduce" });
  simulator.send("a:set 401 1");
  await view.locator('.housing[data-vibrating="true"]').waitFor();
  assert.equal(await view.locator(".housing").evaluate((element) => getComputedStyle(element).animationName), "none");
  simulator.send("a:set 401 0");
  await view.locator('.housing[data-vibrating="false"]').waitFor();
});
