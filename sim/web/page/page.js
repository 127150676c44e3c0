// Joins the parts of the page to the simulator.
import { Connection } from "./connection.js";
import { attribute, element, text, throttled } from "./dom.js";
import { Key } from "./keys.js";
import { Knob } from "./knobs.js";
import { Lines } from "./lines.js";
import { Devices, Outputs, Rates, grouped } from "./readouts.js";
import { Screen, unpack } from "./screen.js";

const SPOKEN_EVERY_MS = 2000;
const NOTICE_MS = 8000; // how long an error of an order stays
const SIGNALS = { 1: "SIGHUP", 2: "SIGINT", 4: "SIGILL", 6: "SIGABRT", 8: "SIGFPE", 9: "SIGKILL", 11: "SIGSEGV", 13: "SIGPIPE", 15: "SIGTERM" };
const READ_EVERY_MS = 100; // numbers that change faster cannot be read
const write = (id, value) => text(element(id), value);

// ---- What is told ----

let hello = null;
let state = null;
let waiting = []; // updates that have come since the last picture
const screen = new Screen(element("screen"));
const lines = new Lines(element);
let outputs = null;
let recorded = ""; // the last recording's file
let devices = null;

const connection = new Connection({
  open(message) {
    hello = message;
    state = null;
    recorded = "";
    lines.clear();
    outputs = new Outputs(element("outputs"), hello.outputs);
    devices = new Devices(element("devices"), hello, order);
    element("record").hidden = !hello.canRecord;
    notice("");
  },
  update(message) {
    waiting.push(message);
    if (message.state.ended) {
      show(); // also in a hidden tab
    } else if (waiting.length === 1) {
      requestAnimationFrame(show);
    }
  },
  close({ ended }) {
    letAllKeys();
    document.body.dataset.connected = false;
    if (!ended && !element("notice").textContent) {
      notice("Not connected to the simulator. Trying again \u2026");
    }
    if (!ended) {
      program("waiting", "Not connected");
    }
  },
});

function show() {
  const updates = waiting;
  waiting = [];
  if (updates.length === 0) {
    return;
  }
  let picture = null;
  for (const update of updates) {
    picture = update.picture ?? picture;
    lines.add(update.lines ?? [], update.missed ?? 0);
  }
  const last = updates[updates.length - 1];
  const before = state;
  state = last.state;
  screen.show(picture && unpack(picture), state.contrast);
  showControls();
  showReadouts();
  showProgram();
  speak(before);
  attribute(document.body, "data-connected", true);
  connection.drawn(last.update);
}

let noticeTimer = null;
function notice(message, milliseconds = 0) {
  clearTimeout(noticeTimer);
  write("notice", message);
  element("notice").hidden = message === "";
  noticeTimer = milliseconds > 0 ? setTimeout(notice, milliseconds, "") : null;
}

function order(verb, fields) {
  return connection.order(verb, fields).then((error) => {
    notice(error ? `That did not work: ${error}.` : "", NOTICE_MS);
    return error;
  });
}

// ---- Keys and knobs ----

const silentOrder = (verb, fields) => connection.order(verb, fields);
const keys = [...document.querySelectorAll("[data-key]")].map((place) => new Key(place, silentOrder));
const knobs = [...document.querySelectorAll("[data-knob]")].map((place) => new Knob(place, silentOrder));
const keyNamed = Object.fromEntries(keys.map((key) => [key.name, key]));
const knobNamed = Object.fromEntries(knobs.map((knob) => [knob.name, knob]));
const lights = Object.fromEntries(
  [...document.querySelectorAll("[data-short]")].map((place) => [place.dataset.short, keyNamed[place.dataset.key]]),
);

function letAllKeys() {
  keys.forEach((key) => key.letAll());
}

function headphones() {
  const held = state?.keys[hello.keys.indexOf("Hp_Detect")];
  order(held ? "release" : "press", { key: "Hp_Detect" });
}
element("headphones").addEventListener("click", headphones);

function showControls() {
  hello.keys.forEach((name, i) => keyNamed[name]?.show(state.keys[i]));
  hello.encoders.forEach((name, i) => knobNamed[name]?.show(state.detents[i]));
  hello.leds.forEach((name, i) => {
    const [colour, key] = name.split(":");
    lights[key]?.showLight(colour, state.leds[i]);
  });
  const plugged = state.keys[hello.keys.indexOf("Hp_Detect")];
  attribute(element("headphones"), "aria-checked", plugged);
  write("headphones-state", plugged ? "Plugged in" : "Unplugged");
}

// ---- Shortcuts ----

const shortcuts = {
  q: keyNamed.Talk_1, a: keyNamed.Call_1, p: keyNamed.Talk_2, l: keyNamed.Call_2, m: keyNamed.Menu,
};
const turns = {
  z: ["Left", -1], x: ["Left", 1], v: ["Rear", -1], b: ["Rear", 1], ",": ["Right", -1], ".": ["Right", 1],
};
const shortcutSwitch = element("shortcuts");

function isShortcut(event) {
  const typing = event.target.closest?.("input:not([type=radio], [type=checkbox]), textarea");
  return shortcutSwitch.checked && !typing && !event.ctrlKey && !event.altKey && !event.metaKey;
}

document.addEventListener("keydown", (event) => {
  if (!isShortcut(event)) {
    return;
  }
  const pressed = event.key.toLowerCase();
  if (Object.hasOwn(turns, pressed)) {
    const [knob, detents] = turns[pressed];
    knobNamed[knob].turn(detents);
  } else if (Object.hasOwn(shortcuts, pressed) && !event.repeat) {
    shortcuts[pressed].hold("shortcut");
  } else if (pressed === "h" && !event.repeat) {
    headphones();
  } else if (pressed === "/") {
    event.preventDefault();
    element("line").focus();
  }
});
document.addEventListener("keyup", (event) => shortcuts[event.key.toLowerCase()]?.let("shortcut"));
window.addEventListener("blur", letAllKeys);
shortcutSwitch.addEventListener("change", () => {
  letAllKeys();
  document.body.dataset.shortcuts = shortcutSwitch.checked;
  remember("shortcuts", shortcutSwitch.checked ? "on" : "off");
});

// ---- Numbers and states ----

const showCounts = throttled(READ_EVERY_MS, () => {
  write("frame", grouped(state.frame));
  write("transfers", grouped(state.transfers));
  write("bytes", grouped(state.bytes));
  write("lines-in", grouped(state.linesIn));
  write("lines-out", grouped(state.linesOut));
  write("errors", grouped(state.errors));
});

function showReadouts() {
  showCounts();
  write("display-state", state.on ? "Display on" : "Display off");
  write("contrast", state.contrast);
  write("variant", state.variant);
  write("gain-code", state.gain);
  attribute(element("gain"), "value", state.gain);
  outputs.show(state.outputs);
  devices.show(state.plugged);
  attribute(element("housing"), "data-vibrating", state.outputs[1] === 1);
  attribute(element("power-lamp"), "data-level", state.outputs[0]);
  showRecording();
}

function showRecording() {
  attribute(element("record"), "aria-pressed", state.recording !== "");
  write("record-text", state.recording ? "Stop recording" : "Record");
  recorded = state.recording || recorded;
  write("recording", state.recording ? `Recording to ${recorded}` : recorded && `Recorded in ${recorded}`);
}

new Rates(
  () => state && { frames: state.frame, bytes: state.bytes, transfers: state.transfers },
  (rates) => {
    write("frame-rate", grouped(rates.frames));
    write("byte-rate", grouped(rates.bytes));
    write("transfer-rate", grouped(rates.transfers));
    const light = state.on ? `on, contrast ${state.contrast}` : "off";
    element("screen").setAttribute("aria-label", `Display, 96 by 64 pixels, ${light}, frame ${state.frame}`);
  },
);

function program(kind, message) {
  attribute(element("program"), "data-kind", kind);
  write("program-text", message);
}

function endText(status) {
  if (status === null) {
    return "ended";
  }
  const signal = status - 128;
  return status > 128 ? `ended by signal ${signal}${SIGNALS[signal] ? ` (${SIGNALS[signal]})` : ""}` : `ended with status ${status}`;
}

function showProgram() {
  if (state.running) {
    program("running", "Running");
    return;
  }
  if (state.exit === null && !state.ended) {
    program("waiting", "Not started");
    return;
  }
  program(state.exit ? "failed" : "ended", `The program ${endText(state.exit)}`);
  if (state.ended) {
    notice(`The program ${endText(state.exit)}, and the simulator with it. The page goes on when it is started again.`);
  }
}

// One sentence now and then about what a glance would show.
let spokenAt = -Infinity;
function speak(before) {
  const now = performance.now();
  if (before && state.errors > before.errors && now - spokenAt > SPOKEN_EVERY_MS) {
    spokenAt = now;
    write("spoken", `${state.errors} error ${state.errors === 1 ? "line" : "lines"} so far`);
  }
}

// ---- Buttons ----

element("record").addEventListener("click", () => order("record", { on: state.recording === "" }));

const sent = [];
let recalled = 0;
element("sender").addEventListener("submit", async (event) => {
  event.preventDefault();
  const field = element("line");
  const text = field.value;
  const error = await connection.order("line", { text });
  write("line-error", error ? `Not sent: ${error}` : "");
  if (!error) {
    sent.push(text);
    recalled = sent.length;
    field.value = field.value === text ? "" : field.value;
  }
});
element("line").addEventListener("keydown", (event) => {
  const step = { ArrowUp: -1, ArrowDown: 1 }[event.key];
  if (step && recalled + step >= 0 && recalled + step <= sent.length) {
    event.preventDefault();
    recalled += step;
    event.target.value = sent[recalled] ?? "";
  }
});

// ---- Appearance ----

function remember(name, value) {
  try {
    localStorage.setItem(name, value);
  } catch {
    // Storage may be forbidden: then the choice lasts as long as the page.
  }
}

function recall(name) {
  try {
    return localStorage.getItem(name);
  } catch {
    return null;
  }
}

for (const choice of document.getElementsByName("appearance")) {
  choice.checked = choice.value === document.documentElement.dataset.appearance;
  choice.addEventListener("change", () => {
    document.documentElement.dataset.appearance = choice.value;
    remember("appearance", choice.value);
  });
}
shortcutSwitch.checked = recall("shortcuts") !== "off";
document.body.dataset.shortcuts = shortcutSwitch.checked;
