// What the tests share: one browser, and one simulator for all that do not need their own.
//   BELTPACK_SIM      the simulator program
//   BELTPACK_RESULTS  a folder for what failing tests leave
import { after, before } from "node:test";
import { launch, openPage } from "./browser.mjs";
import { Simulator } from "./simulator.mjs";

export const program = process.env.BELTPACK_SIM ?? "build/release/bin/beltpack_sim";
export const results = process.env.BELTPACK_RESULTS ?? ".";

export let browser = null;
export let simulator = null;
export let page = null; // of that simulator, wide and light

before(async () => {
  simulator = await Simulator.start(program);
  browser = await launch();
  page = await openPage(browser, simulator.address);
});

after(async () => {
  await browser?.close();
  await simulator?.stop();
});

// A simulator of the test's own, stopped at its end.
export async function ownSimulator(t, settings) {
  const own = await Simulator.start(program, settings);
  t.after(() => own.exited ?? own.stop());
  return own;
}

// A further page, closed at the test's end.
export async function ownPage(t, address, context) {
  const own = await openPage(browser, address, context);
  t.after(() => own.context().close());
  return own;
}

// What the page shows of a panel pixel: its brightness, 0 .. 255, as drawn in the middle of its square.
export function pixel(of, x, y) {
  return of.evaluate(([px, py]) => {
    const canvas = document.getElementById("screen");
    const pitch = canvas.width / 96;
    const copy = new OffscreenCanvas(1, 1).getContext("2d", { willReadFrequently: true });
    copy.drawImage(canvas, -Math.floor((px + 0.4) * pitch), -Math.floor((py + 0.4) * pitch));
    return Math.max(...copy.getImageData(0, 0, 1, 1).data.slice(0, 3));
  }, [x, y]);
}
