// The one browser of a run, and pages in it.
import { existsSync } from "node:fs";
import { chromium } from "playwright-core";

const PROGRAM = "/usr/bin/chromium";

export async function launch() {
  if (!existsSync(PROGRAM)) {
    throw new Error(`${PROGRAM} is not there: scripts/setup.sh test installs it`);
  }
  return chromium.launch({
    executablePath: PROGRAM,
    args: ["--no-sandbox", "--disable-gpu", "--font-render-hinting=none", "--disable-lcd-text"],
  });
}

// A page at the address, connected and with the first state shown.
export async function openPage(browser, address, context = {}) {
  const own = await browser.newContext({ viewport: { width: 1280, height: 800 }, ...context });
  const page = await own.newPage();
  page.faults = [];
  page.on("pageerror", (error) => page.faults.push(String(error)));
  page.on("console", (message) => {
    if (message.type() === "error" || message.type() === "warning") {
      page.faults.push(message.text());
    }
  });
  page.setDefaultTimeout(10000);
  await page.goto(address);
  await page.locator('body[data-connected="true"]').waitFor();
  return page;
}
