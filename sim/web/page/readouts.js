// Numbers, outputs and devices.

import { attribute, text } from "./dom.js";

const RATE_MS = 1000;

const DEVICE_NAMES = {
  "/dev/input/event1": "Left knob",
  "/dev/input/event2": "Right knob",
  "/dev/input/event3": "Rear knob",
  "/dev/input/event4": "Keys",
  "/dev/spidev3.0": "Display commands",
  "/dev/spidev3.1": "Display data",
  "/dev/spidev4.0": "Microphone gain",
};

const LEVEL_TEXTS = {
  "Power LED": ["Off", "On"],
  "Vibration Motor": ["Off", "On"],
  "Mic ADC Reset_N": ["In reset", "Released"],
  "OLED Display Reset_N": ["In reset", "Released"],
};

export function grouped(number) {
  return String(number).replace(/\B(?=(\d{3})+$)/g, "\u202f");
}

function make(tag, className, content) {
  const made = document.createElement(tag);
  made.className = className;
  made.textContent = content ?? "";
  return made;
}

// What a counter grows in a second.
export class Rates {
  #last = null;
  #timer;

  // take(counters) is asked once a second; show({name: a second}) gets the growth.
  constructor(take, show) {
    this.#timer = setInterval(() => {
      const now = { time: performance.now(), counters: take() };
      if (this.#last && now.counters) {
        show(this.#growth(now));
      }
      this.#last = now.counters ? now : null;
    }, RATE_MS);
  }

  #growth(now) {
    const seconds = (now.time - this.#last.time) / 1000;
    const rate = (name) => (now.counters[name] - this.#last.counters[name]) / seconds;
    return Object.fromEntries(Object.keys(now.counters).map((name) => [name, Math.max(0, Math.round(rate(name)))]));
  }
}

export class Outputs {
  #items = [];

  constructor(list, outputs) {
    list.replaceChildren();
    this.#items = outputs.map(({ number, name }) => {
      const item = make("li", "output");
      const state = make("b", "output-state");
      item.append(make("span", "lamp"), make("span", "output-name", name), make("small", "", `GPIO ${number}`), state);
      list.append(item);
      return { name, item, state };
    });
  }

  show(levels) {
    this.#items.forEach(({ name, item, state }, i) => {
      attribute(item, "data-level", levels[i]);
      text(state, (LEVEL_TEXTS[name] ?? ["Low", "High"])[levels[i]]);
    });
  }
}

export class Devices {
  #items = [];

  // order(verb, fields) unplugs, plugs and makes a transfer fail.
  constructor(list, hello, order) {
    list.replaceChildren();
    this.#items = hello.devices.map((path, i) => {
      const name = DEVICE_NAMES[path] ?? path;
      const item = make("li", "device");
      const words = make("span", "device-text");
      words.append(make("span", "device-name", name), make("small", "mono", path));
      const state = make("b", "device-state");
      const plug = make("button", "button small");
      plug.type = "button";
      plug.addEventListener("click", () => order(this.#items[i].plugged ? "unplug" : "plug", { path }));
      const buttons = make("span", "device-buttons");
      if (i >= hello.firstBus) {
        buttons.append(failButton(name, path, order));
      }
      buttons.append(plug);
      item.append(words, state, buttons);
      list.append(item);
      return { name, item, state, plug };
    });
  }

  show(plugged) {
    this.#items.forEach((device, i) => {
      if (device.plugged === plugged[i]) {
        return;
      }
      device.plugged = plugged[i];
      device.item.dataset.plugged = plugged[i];
      device.state.textContent = plugged[i] ? "Present" : "Gone";
      device.plug.textContent = plugged[i] ? "Unplug" : "Plug in";
      device.plug.setAttribute("aria-label", `${device.plug.textContent}: ${device.name}`);
    });
  }
}

function failButton(name, path, order) {
  const button = make("button", "button small", "Fail next");
  button.type = "button";
  button.title = "The next transfer fails with EIO";
  button.setAttribute("aria-label", `Fail next transfer: ${name}`);
  button.addEventListener("click", () => order("fail", { path }));
  return button;
}
