// The rotary encoders: endless, 24 detents a turn, turned by wheel, drag, finger, buttons or keys.

const DETENTS = 24;
const DEGREES = 360 / DETENTS;
const WHEEL_STEP = 60; // of the wheel's distance a detent; a notch of a mouse is about 100
const PAGE = 10;
const KEYS = { ArrowUp: 1, ArrowRight: 1, ArrowDown: -1, ArrowLeft: -1, PageUp: PAGE, PageDown: -PAGE };

export class Knob {
  #pending = 0; // detents that have not been sent
  #wheel = 0;
  #angle = null; // of the pointer around the middle while it drags
  #dragged = 0; // degrees beyond the last detent

  // place: the element to fill. order(verb, fields) turns.
  constructor(place, order) {
    this.name = place.dataset.knob;
    this.order = order;
    place.append(document.getElementById("knob-template").content.cloneNode(true));
    this.face = place.querySelector(".knob");
    this.cap = place.querySelector(".knob-cap");
    this.count = place.querySelector(".knob-count");
    place.querySelector(".knob-name").textContent = `${this.name} knob`;
    place.querySelector(".knob-name").id = `knob-${this.name}`;
    this.face.setAttribute("aria-labelledby", `knob-${this.name}`);
    this.count.setAttribute("aria-live", "off");
    this.count.setAttribute("aria-labelledby", `knob-${this.name}`);
    this.#buttons(place);
    this.#listen();
  }

  // What comes between two pictures goes in one turn.
  turn(detents) {
    if (this.#pending === 0) {
      queueMicrotask(() => this.#send());
    }
    this.#pending += detents;
  }

  // As the panel has it.
  show(detents) {
    if (this.shown === detents) {
      return;
    }
    this.shown = detents;
    this.cap.style.setProperty("--angle", `${detents * DEGREES}deg`);
    this.count.textContent = detents > 0 ? `+${detents}` : String(detents).replace("-", "\u2212");
    this.face.setAttribute("aria-valuenow", detents);
    this.face.setAttribute("aria-valuetext", `${detents} ${Math.abs(detents) === 1 ? "detent" : "detents"}`);
  }

  #send() {
    const detents = this.#pending;
    this.#pending = 0;
    if (detents !== 0) {
      this.order("turn", { encoder: this.name, detents });
    }
  }

  #buttons(place) {
    const keys = place.dataset.keys.split(" ");
    place.querySelectorAll("kbd").forEach((hint, i) => (hint.textContent = keys[i]));
    for (const button of place.querySelectorAll(".turn")) {
      const clockwise = button.dataset.turn === "1";
      button.setAttribute("aria-label", `${this.name} knob ${clockwise ? "clockwise" : "counter-clockwise"}`);
      button.addEventListener("click", () => this.turn(Number(button.dataset.turn)));
    }
  }

  #listen() {
    const face = this.face;
    face.addEventListener("keydown", (event) => {
      const detents = KEYS[event.key];
      if (detents && !event.ctrlKey && !event.altKey && !event.metaKey) {
        event.preventDefault();
        this.turn(detents);
      }
    });
    face.addEventListener("wheel", (event) => this.#onWheel(event), { passive: false });
    face.addEventListener("pointerdown", (event) => {
      if (event.button === 0) {
        face.setPointerCapture(event.pointerId);
        this.#angle = this.#angleOf(event);
        this.#dragged = 0;
      }
    });
    face.addEventListener("pointermove", (event) => this.#onDrag(event));
    face.addEventListener("lostpointercapture", () => (this.#angle = null));
  }

  // Up is clockwise.
  #onWheel(event) {
    event.preventDefault();
    const distance = event.deltaMode === 0 ? event.deltaY : event.deltaY * WHEEL_STEP;
    this.#wheel -= distance / WHEEL_STEP;
    const detents = Math.trunc(this.#wheel);
    this.#wheel -= detents;
    if (detents !== 0) {
      this.turn(detents);
    }
  }

  #angleOf(event) {
    const box = this.face.getBoundingClientRect();
    const x = event.clientX - (box.left + box.width / 2);
    const y = event.clientY - (box.top + box.height / 2);
    return (Math.atan2(y, x) * 180) / Math.PI;
  }

  #onDrag(event) {
    if (this.#angle === null) {
      return;
    }
    const angle = this.#angleOf(event);
    this.#dragged += ((angle - this.#angle + 540) % 360) - 180; // the short way round
    this.#angle = angle;
    const detents = Math.trunc(this.#dragged / DEGREES);
    this.#dragged -= detents * DEGREES;
    if (detents !== 0) {
      this.turn(detents);
    }
  }
}
