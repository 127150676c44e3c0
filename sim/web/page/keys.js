// The keys, held as long as a finger, the pointer or the keyboard holds them, and the lights in them.

import { attribute, text } from "./dom.js";

const SHORTEST_MS = 60; // no finger is faster; the daemon reports a shorter press as none
const SPOKEN_CLICK_MS = 200; // how long a key is held that a screen reader clicks

export class Key {
  #pressedAt = 0;
  #releasing = null; // the timer of a release that is due
  #holders = new Set(); // what holds it: pointers, "keyboard", "shortcut", "click"

  // place: the element to fill. order(verb, fields) presses and releases.
  constructor(place, order) {
    this.name = place.dataset.key;
    this.order = order;
    place.append(document.getElementById("key-template").content.cloneNode(true));
    this.button = place.querySelector("button");
    const label = this.name.replace("_", " ");
    place.querySelector(".key-name").textContent = label;
    place.querySelector("kbd").textContent = place.dataset.keys;
    this.#prepareLevels(place, label);
    this.#listen();
  }

  hold(holder) {
    const first = this.#holders.size === 0;
    this.#holders.add(holder);
    if (first) {
      this.#press();
    }
  }

  let(holder) {
    if (this.#holders.delete(holder) && this.#holders.size === 0) {
      const left = this.#pressedAt + SHORTEST_MS - performance.now();
      this.#releasing = setTimeout(() => this.#release(), Math.max(0, left));
    }
  }

  letAll() {
    for (const holder of [...this.#holders]) {
      this.let(holder);
    }
  }

  #press() {
    if (this.#releasing !== null) {
      clearTimeout(this.#releasing);
      this.#release();
    }
    this.#pressedAt = performance.now();
    this.order("press", { key: this.name });
  }

  #release() {
    this.#releasing = null;
    this.order("release", { key: this.name });
  }

  // As the panel has it.
  show(held) {
    attribute(this.button, "data-held", held);
  }

  showLight(colour, level) {
    if (this.levels[colour].textContent === String(level)) {
      return;
    }
    const light = this.button.querySelector(colour === "grn" ? ".green" : ".red");
    light.style.setProperty("--level", level / 254);
    text(this.levels[colour], level);
  }

  #prepareLevels(place, label) {
    const levels = place.querySelector(".levels");
    if (!place.dataset.short) {
      levels.remove();
      place.querySelector(".key-lights").remove();
      return;
    }
    levels.id = `levels-${place.dataset.short}`;
    this.button.setAttribute("aria-describedby", levels.id);
    this.levels = {};
    for (const level of levels.querySelectorAll(".level")) {
      this.levels[level.dataset.colour] = level.querySelector("b");
    }
  }

  #listen() {
    const button = this.button;
    button.addEventListener("pointerdown", (event) => {
      if (event.button === 0) {
        button.setPointerCapture(event.pointerId);
        this.hold(event.pointerId);
      }
    });
    for (const type of ["pointerup", "pointercancel", "lostpointercapture"]) {
      button.addEventListener(type, (event) => this.let(event.pointerId));
    }
    button.addEventListener("contextmenu", (event) => event.preventDefault());
    button.addEventListener("keydown", (event) => {
      if ((event.key === " " || event.key === "Enter") && !event.ctrlKey && !event.altKey && !event.metaKey) {
        event.preventDefault();
        if (!event.repeat) {
          this.hold("keyboard");
        }
      }
    });
    button.addEventListener("keyup", (event) => {
      if (event.key === " " || event.key === "Enter") {
        event.preventDefault();
        this.let("keyboard");
      }
    });
    button.addEventListener("blur", () => this.let("keyboard"));
    // Without pointer and keyboard: assistive technology.
    button.addEventListener("click", (event) => {
      if (event.detail === 0 && this.#holders.size === 0) {
        this.hold("click");
        setTimeout(() => this.let("click"), SPOKEN_CLICK_MS);
      }
    });
  }
}
