// How fast the page is, in a real headless browser: bench.mjs [ROUNDS]
//   BELTPACK_SIM  the simulator program
// Prints the time from a key on the page to the daemon's line on standard output, the time from a flush command
// to the page's pixels, and how many frames a second the daemon draws and flushes, without a view and with two
// pages open. Exit status 1 when a limit is missed.
import { readFileSync } from "node:fs";
import { launch, openPage } from "./browser.mjs";
import { Simulator } from "./simulator.mjs";

const PROGRAM = process.env.BELTPACK_SIM ?? "build/release/bin/beltpack_sim";
const ROUNDS = Number(process.argv[2] ?? 200);
const FRAMES = 1000;
const PAIRS = 21;
const MS_A_TICK = 10; // of /proc

const now = () => performance.timeOrigin + performance.now(); // as the page's clock, ms
const median = (values) => values.sort((a, b) => a - b)[Math.floor(values.length / 2)];
let failed = false;

function report(what, value, unit, holds, limit) {
  failed ||= !holds;
  console.log(`${what.padEnd(58)} ${value.toFixed(2).padStart(9)} ${unit.padEnd(9)} ${limit}${holds ? "" : "  MISSED"}`);
}

// From the key's event in the page to the daemon's line here.
async function keyToLine(simulator, page) {
  await page.evaluate(() => {
    addEventListener("keydown", () => (window.keyAt = performance.timeOrigin + performance.now()), true);
  });
  const times = [];
  for (let i = 0; i < ROUNDS; i++) {
    const line = new Promise((resolve) => {
      const end = simulator.onLine((text) => {
        if (text.startsWith("OnFpKey(1,1,")) {
          end();
          resolve(now());
        }
      });
    });
    await page.keyboard.down("q");
    const arrived = await line;
    times.push(arrived - (await page.evaluate(() => window.keyAt)));
    await page.keyboard.up("q");
    await simulator.line(/^OnFpKey\(1,-1,/);
  }
  return median(times);
}

// From the flush command's writing to the end of the page's drawing.
async function flushToPixels(simulator, page) {
  await page.evaluate(() => {
    const draw = CanvasRenderingContext2D.prototype.drawImage;
    CanvasRenderingContext2D.prototype.drawImage = function (...parts) {
      draw.apply(this, parts);
      if (this.canvas.id === "screen") {
        window.lastDraw = performance.timeOrigin + performance.now();
      }
    };
  });
  const times = [];
  for (let i = 0; i < ROUNDS; i++) {
    await page.evaluate(() => (window.lastDraw = 0));
    simulator.send(`g:rect 0 0 0 96 64 ${i % 2 ? "black black" : "white white"}`);
    const sent = now();
    simulator.send("g:flush 0");
    await page.waitForFunction(() => window.lastDraw > 0);
    times.push((await page.evaluate(() => window.lastDraw)) - sent);
    await page.waitForTimeout(60);
  }
  return median(times);
}

// What simulator and daemon have used of the processor, in ms.
function processorTime(simulator) {
  const { pid } = simulator.process;
  const pids = [pid, ...readFileSync(`/proc/${pid}/task/${pid}/children`, "utf8").trim().split(" ")];
  const ticks = pids.map((id) => {
    const fields = readFileSync(`/proc/${id}/stat`, "utf8").split(") ")[1].split(" ");
    return Number(fields[11]) + Number(fields[12]);
  });
  return ticks.reduce((sum, more) => sum + more) * MS_A_TICK;
}

// A burst of frames; gives how many a second there were.
async function framesASecond(simulator) {
  const frames = Array.from({ length: FRAMES }, (_, i) => `g:rect 0 ${i % 80} 10 12 40 ${i % 2 ? "white" : "black"}\ng:flush 0 1`);
  const end = new Promise((resolve) => {
    const over = simulator.onLine((line) => {
      if (line.startsWith("OnDisplayInfo1")) {
        over();
        resolve();
      }
    });
  });
  const begun = performance.now();
  simulator.send(frames.join("\n"));
  simulator.send("g:info");
  await end;
  return (1000 * FRAMES) / (performance.now() - begun);
}

const browser = await launch();
const simulator = await Simulator.start(PROGRAM);
const page = await openPage(browser, simulator.address);
const reach = await keyToLine(simulator, page);
report("key on the page to line on standard output, median", reach, "ms", reach <= 5, "at most 5");
const shown = await flushToPixels(simulator, page);
report("flush to the page's pixels, median", shown, "ms", shown <= 25, "at most 25");
await page.context().close();
await simulator.stop();

// One after the other, so that what else the machine does meets both alike.
const plain = await Simulator.start(PROGRAM, { web: false });
const watched = await Simulator.start(PROGRAM);
await openPage(browser, watched.address);
await openPage(browser, watched.address);
const without = [];
const withPages = [];
const shares = [];
const before = [processorTime(plain), processorTime(watched)];
for (let i = 0; i < PAIRS; i++) {
  const alone = await framesASecond(plain);
  const seen = await framesASecond(watched);
  without.push(alone);
  withPages.push(seen);
  shares.push((100 * seen) / alone);
}
const rate = median(without);
report("frames drawn and flushed without a view, median", rate, "frames/s", rate >= 1000, "at least 1000");
const open = median(withPages);
report("frames with two pages open, median", open, "frames/s", open >= 900, "at least 900");
// Simulator and daemon take all of two cores for this, and the browser about one: on such a machine the share tells
// of the browser. What the pages cost the program is in the processor time.
report("of those without, median of pairs", median(shares), "%", true, "");
const used = [processorTime(plain) - before[0], processorTime(watched) - before[1]];
used.forEach((time, i) => {
  const what = `processor time of simulator and daemon, ${i === 0 ? "no view" : "two pages open"}`;
  report(what, (1000 * time) / (PAIRS * FRAMES), "us/frame", i === 0 || time <= used[0] / 0.9, i ? "at most 10/9 of it" : "");
});
await plain.stop();
await watched.stop();
await browser.close();
process.exitCode = failed ? 1 : 0;
