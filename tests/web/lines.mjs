// The lines as they pass, and lines that the page sends.
import assert from "node:assert/strict";
import { test } from "./serial.mjs";
import { ownPage, ownSimulator, page, simulator } from "./context.mjs";
import { eventually } from "./simulator.mjs";

const MARKUP = '<img src=x onerror="window.harmed=1"><script>window.harmed=1</script>';

test("lines in and out are told apart, errors marked in words", async () => {
  simulator.send("g:info");
  simulator.send("g:nonsense");
  await page.locator("li.in", { hasText: "g:info" }).first().waitFor();
  await page.locator("li.out", { hasText: "OnDisplayInfo1(1,96,64)" }).first().waitFor();
  const error = page.locator("li.error", { hasText: "'nonsense'" });
  await error.waitFor();
  assert.equal(await error.locator(".way").textContent(), "error");
});

test("the filter leaves what contains its words, the choice what goes its way", async () => {
  const shown = () => page.locator("#log-list li").allTextContents();
  await page.getByLabel("Only lines that contain").fill("NONSENSE");
  await eventually("two lines", async () => (await shown()).length === 2);
  await page.getByRole("radio", { name: "Errors" }).check({ force: true });
  await eventually("one line", async () => (await shown()).length === 1);
  await page.getByLabel("Only lines that contain").fill("no such text");
  await page.getByText("No line matches.").waitFor();
  await page.getByLabel("Only lines that contain").fill("");
  await page.getByRole("radio", { name: "All" }).check({ force: true });
  await eventually("all lines", async () => (await shown()).length > 4);
});

test("a line is sent to the daemon, and its error comes back", async () => {
  const field = page.getByLabel("Line to the daemon");
  await field.fill("g:unheard-of");
  await field.press("Enter");
  await simulator.line(/^OnError.*'unheard-of' was not recognized/);
  await page.locator("li.error", { hasText: "unheard-of" }).waitFor();
  assert.equal(await field.inputValue(), "");
  await field.press("ArrowUp");
  assert.equal(await field.inputValue(), "g:unheard-of");
  await field.fill("");
});

test("a line that cannot be sent stays, with the reason beside it", async () => {
  const field = page.getByLabel("Line to the daemon");
  await field.fill("x".repeat(1501));
  await page.getByRole("button", { name: "Send" }).click();
  await page.getByText("Not sent: more than 1500 bytes").waitFor();
  assert.equal((await field.inputValue()).length, 1501);
  await field.fill("");
});

test("what a line contains is text, whatever it looks like", async () => {
  const field = page.getByLabel("Line to the daemon");
  await field.fill(`g:${MARKUP}`);
  await field.press("Enter");
  await page.locator("li.in", { hasText: MARKUP }).waitFor();
  await page.locator("li.error", { hasText: "OnError" }).last().waitFor();
  assert.equal(await page.locator("#log-list img, #log-list script").count(), 0);
  assert.equal(await page.evaluate(() => window.harmed), undefined);
});

test("bytes that are no text are shown as in the log", async () => {
  simulator.process.stdin.write(Buffer.from([0x67, 0x3a, 0xff, 0x1b, 0x0a]));
  await page.locator("li.in", { hasText: "g:\\xFF\\x1B" }).waitFor();
});

test("the pause stops the list, and its end shows what came", async () => {
  const pause = page.getByRole("button", { name: "Pause" });
  await pause.click();
  simulator.send("g:while-paused");
  await simulator.line(/while-paused/);
  await page.waitForTimeout(200);
  assert.equal(await page.locator("li", { hasText: "while-paused" }).count(), 0);
  await pause.click();
  await page.locator("li.error", { hasText: "while-paused" }).waitFor();
});

test("a flood of lines is cut, and the page says how much of it", async (t) => {
  const own = await ownSimulator(t);
  const view = await ownPage(t, own.address);
  own.send(Array(5000).fill("g:pixel 0 1 1 white").join("\n"));
  await eventually("all lines", async () => (await view.locator("#lines-in").textContent()) === "5\u202f000", 20000);
  await view.getByText(/\d+ earlier lines are not shown/).waitFor();
  assert.ok((await view.locator("#log-list li").count()) <= 300);
});
