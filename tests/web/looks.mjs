// The page as it looks, compared with kept pictures. BELTPACK_UPDATE_PICTURES=1 writes them anew: look at them.
import assert from "node:assert/strict";
import { readFileSync, writeFileSync } from "node:fs";
import { test } from "./serial.mjs";
import { PNG } from "pngjs";
import { ownPage, ownSimulator, pixel, results } from "./context.mjs";
import { eventually } from "./simulator.mjs";

const FAR = 48; // how much a colour may differ, of 255
const SHARE = 0.01; // so many points may differ more
const WIDE = { viewport: { width: 1280, height: 1180 } };
const NARROW = { viewport: { width: 390, height: 844 }, deviceScaleFactor: 2 };
const SCENE = [
  "g:font 0 'F9x5m'", "g:rect 0 0 0 96 13 white white", "g:text 0 3 3 'Stage left' black white",
  "g:text 0 3 20 'A  Director' white", "g:text 0 3 32 'B  Lighting' white", "g:rect 0 3 48 90 10 white",
  "g:rect 0 5 50 62 6 white white", "g:flush 0", "a:set 559 254", "a:set 9 1", "a:set 561 109", "a:set 11 1",
  "a:set 562 57", "a:set 12 2", "a:set 201 8", "a:set 204 52", "a:set 400 1", "g:sing", "g:info",
];

// One of them is the documents' picture, too.
const KEPT = { "wide-dark": "../../docs/pictures/web.png" };
const kept = (name) => new URL(KEPT[name] ?? `pictures/${name}.png`, import.meta.url);

// Marks what differs in red.
function compare(expected, got) {
  const difference = new PNG({ width: got.width, height: got.height });
  let far = 0;
  for (let i = 0; i < got.data.length; i += 4) {
    const apart = Math.max(...[0, 1, 2].map((c) => Math.abs(got.data[i + c] - expected.data[i + c])));
    far += apart > FAR ? 1 : 0;
    difference.data.set(apart > FAR ? [255, 0, 0, 255] : [...got.data.subarray(i, i + 3).map((c) => c / 3), 255], i);
  }
  return { share: far / (got.width * got.height), difference };
}

async function shot(view) {
  await view.waitForTimeout(1200); // rates are back at zero
  await view.evaluate(() => document.querySelectorAll(".time").forEach((time) => (time.textContent = "0.000")));
  return view.screenshot({ animations: "disabled" });
}

function check(name, picture) {
  if (process.env.BELTPACK_UPDATE_PICTURES) {
    writeFileSync(kept(name), picture);
    return;
  }
  const [expected, got] = [PNG.sync.read(readFileSync(kept(name))), PNG.sync.read(picture)];
  assert.deepEqual([got.width, got.height], [expected.width, expected.height]);
  const { share, difference } = compare(expected, got);
  if (share > SHARE) {
    writeFileSync(`${results}/${name}.got.png`, picture);
    writeFileSync(`${results}/${name}.diff.png`, PNG.sync.write(difference));
  }
  assert.ok(share <= SHARE, `${(100 * share).toFixed(2)} % differ: see ${results}/${name}.diff.png`);
}

test("the page looks as it did", async (t) => {
  const own = await ownSimulator(t);
  own.send(SCENE.join("\n"));
  await own.line(/^OnDisplayInfo1/);
  const looks = [["wide", WIDE], ["narrow", NARROW]].flatMap(([width, settings]) =>
    ["dark", "light"].map((colorScheme) => [`${width}-${colorScheme}`, { ...settings, colorScheme }]));
  await Promise.all(looks.map(async ([name, settings]) => {
    const view = await ownPage(t, own.address, settings);
    await eventually("the scene", async () => (await pixel(view, 1, 1)) > 150);
    check(name, await shot(view));
  }));
});
