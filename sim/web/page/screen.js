// The display: every pixel a lit square on black, as on the glass.

const WIDTH = 96;
const HEIGHT = 64;
const LIT = [206, 238, 255];
const GAP = 0.16; // of a pixel's pitch stays dark
const CORNER = 0.14; // of a pixel's pitch is rounded off
const GLOW = 1; // so many pixels around it a lit one is seen
const DIM = 0.34; // brightness at contrast 0
const UNLIT = "#0b0f13"; // what is seen of a pixel without light

// 768 bytes in base64 -> 6144 flags, row by row.
export function unpack(base64) {
  const bytes = atob(base64);
  const lit = new Uint8Array(WIDTH * HEIGHT);
  for (let i = 0; i < lit.length; i++) {
    lit[i] = (bytes.charCodeAt(i >> 3) >> (7 - (i & 7))) & 1;
  }
  return lit;
}

// From the first row that differs up to, and without, the one behind the last.
function changedRows(before, after) {
  let first = 0;
  let last = before.length;
  while (first < last && before[first] === after[first]) {
    first++;
  }
  while (last > first && before[last - 1] === after[last - 1]) {
    last--;
  }
  return first === last ? [0, 0] : [Math.floor(first / WIDTH), Math.ceil(last / WIDTH)];
}

// The eye takes a quarter of the light for half as bright.
export function brightness(contrast) {
  return DIM + (1 - DIM) * Math.sqrt(contrast / 255);
}

export class Screen {
  #canvas;
  #context;
  #lit = new Uint8Array(WIDTH * HEIGHT);
  #small = document.createElement("canvas"); // one point a pixel
  #mask = document.createElement("canvas"); // the dark between the pixels
  #pitch = 0;
  #contrast = 0;

  constructor(canvas) {
    this.#canvas = canvas;
    this.#context = canvas.getContext("2d", { alpha: false });
    this.#small.width = WIDTH;
    this.#small.height = HEIGHT;
    new ResizeObserver(() => this.#fit()).observe(canvas.parentElement);
    this.#fit();
  }

  show(lit, contrast) {
    const all = contrast !== this.#contrast;
    const [from, to] = all ? [0, HEIGHT] : lit ? changedRows(this.#lit, lit) : [0, 0];
    this.#lit = lit ?? this.#lit;
    this.#contrast = contrast;
    if (to > from) {
      this.#draw(from, to);
    }
  }

  // A whole number of the screen's own points a pixel, so that all of them look alike.
  #fit() {
    const box = this.#canvas.parentElement;
    const style = getComputedStyle(box);
    const room = box.clientWidth - parseFloat(style.paddingLeft) - parseFloat(style.paddingRight);
    const ratio = window.devicePixelRatio || 1;
    const pitch = Math.max(2, Math.floor((room * ratio) / WIDTH));
    if (pitch === this.#pitch) {
      return;
    }
    this.#pitch = pitch;
    this.#canvas.width = WIDTH * pitch;
    this.#canvas.height = HEIGHT * pitch;
    this.#canvas.style.width = `${(WIDTH * pitch) / ratio}px`;
    this.#canvas.style.height = `${(HEIGHT * pitch) / ratio}px`;
    this.#makeMask();
    this.#draw();
  }

  #makeMask() {
    const pitch = this.#pitch;
    const gap = pitch < 3 ? 0 : Math.max(1, Math.round(pitch * GAP));
    const tile = document.createElement("canvas");
    tile.width = tile.height = pitch;
    const stamp = tile.getContext("2d");
    stamp.fillStyle = "#000";
    stamp.fillRect(0, 0, pitch, pitch);
    stamp.globalCompositeOperation = "destination-out";
    stamp.beginPath();
    stamp.roundRect(0, 0, pitch - gap, pitch - gap, pitch * CORNER);
    stamp.fill();
    this.#mask.width = WIDTH * pitch;
    this.#mask.height = HEIGHT * pitch;
    const mask = this.#mask.getContext("2d");
    mask.fillStyle = mask.createPattern(tile, "repeat");
    mask.fillRect(0, 0, this.#mask.width, this.#mask.height);
  }

  // The rows from one up to, and without, another.
  #draw(from = 0, to = HEIGHT) {
    const small = this.#small.getContext("2d");
    const image = small.createImageData(WIDTH, HEIGHT);
    const level = brightness(this.#contrast);
    for (let i = 0; i < this.#lit.length; i++) {
      image.data[4 * i] = LIT[0] * level;
      image.data[4 * i + 1] = LIT[1] * level;
      image.data[4 * i + 2] = LIT[2] * level;
      image.data[4 * i + 3] = this.#lit[i] ? 255 : 0;
    }
    small.putImageData(image, 0, 0);
    const { width, height } = this.#canvas;
    const context = this.#context;
    context.save();
    context.beginPath();
    context.rect(0, (from - GLOW) * this.#pitch, width, (to - from + 2 * GLOW) * this.#pitch);
    context.clip();
    context.fillStyle = UNLIT;
    context.fillRect(0, 0, width, height);
    context.imageSmoothingEnabled = false;
    context.drawImage(this.#small, 0, 0, width, height);
    context.drawImage(this.#mask, 0, 0);
    // What the glass scatters of it.
    context.globalCompositeOperation = "lighter";
    context.globalAlpha = 0.22 * level;
    context.imageSmoothingEnabled = true;
    context.drawImage(this.#small, 0, 0, width, height);
    context.restore();
  }
}
