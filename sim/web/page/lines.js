// The lines as they pass: the newest are kept, and shown as text alone. Of a flood, which nobody can read, only some
// are put into the list until it is looked at in peace.

const KEPT = 300;
const SHOWN_EVERY_MS = 250;
const SHOWN_AT_ONCE = 60;
const NEAR_END_PX = 24;

export class Lines {
  #lines = []; // {number, out, error, ms, text}, oldest first
  #fresh = 0; // so many at the end are not in the list yet
  #missed = 0;
  #which = "all";
  #words = "";
  #paused = false;
  #timer = null;
  #atEnd = true; // the list is scrolled to its end, and stays there

  // element(id) finds the parts of the page.
  constructor(element) {
    this.log = element("log");
    this.list = element("log-list");
    this.empty = element("log-empty");
    this.missedText = element("missed");
    this.log.addEventListener("scroll", () => {
      this.#atEnd = this.log.scrollHeight - this.log.scrollTop - this.log.clientHeight < NEAR_END_PX;
    });
    const pause = element("pause");
    pause.addEventListener("click", () => this.#pause(pause));
    element("clear").addEventListener("click", () => this.clear());
    element("filter").addEventListener("input", (event) => {
      this.#words = event.target.value.toLowerCase();
      this.#showAll();
    });
    for (const choice of document.getElementsByName("which")) {
      choice.addEventListener("change", () => {
        this.#which = choice.value;
        this.#showAll();
      });
    }
  }

  add(lines, missed) {
    this.#missed += missed;
    for (const [number, out, error, ms, text] of lines) {
      this.#lines.push({ number, out, error, ms, text });
    }
    this.#fresh += lines.length;
    this.#fresh = Math.min(this.#fresh, KEPT);
    if (this.#lines.length > KEPT) {
      this.#missed += this.#lines.length - KEPT;
      this.#lines.splice(0, this.#lines.length - KEPT);
    }
    if (!this.#paused && this.#timer === null && (lines.length > 0 || missed > 0)) {
      this.#showFresh();
      this.#timer = setTimeout(() => {
        this.#timer = null;
        this.#showFresh();
      }, SHOWN_EVERY_MS);
    }
  }

  clear() {
    this.#lines = [];
    this.#missed = 0;
    this.#showAll();
  }

  #pause(button) {
    this.#paused = false;
    this.#showAll();
    this.#paused = button.getAttribute("aria-pressed") !== "true";
    button.setAttribute("aria-pressed", this.#paused);
  }

  #wanted(line) {
    const kind = { all: true, in: !line.out, out: line.out, error: line.error }[this.#which];
    return kind && line.text.toLowerCase().includes(this.#words);
  }

  #showAll() {
    this.list.replaceChildren();
    this.#fresh = this.#lines.length;
    this.#showFresh(KEPT);
  }

  #showFresh(most = SHOWN_AT_ONCE) {
    if (this.#paused && this.#fresh < this.#lines.length) {
      return;
    }
    const fresh = this.#lines.slice(this.#lines.length - this.#fresh).filter((line) => this.#wanted(line));
    this.#fresh = 0;
    if (fresh.length > most) {
      this.list.append(gap(fresh.length - most));
    }
    this.list.append(...fresh.slice(-most).map(item));
    while (this.list.childElementCount > KEPT) {
      this.list.firstElementChild.remove();
    }
    this.missedText.hidden = this.#missed === 0;
    this.missedText.textContent = `${this.#missed} earlier ${this.#missed === 1 ? "line is" : "lines are"} not shown`;
    this.empty.hidden = this.list.childElementCount > 0;
    this.empty.textContent = this.#lines.length > 0 ? "No line matches." : "No lines yet.";
    if (this.#atEnd) {
      this.log.scrollTop = Number.MAX_SAFE_INTEGER;
    }
  }
}

function part(name, text) {
  const element = document.createElement("span");
  element.className = name;
  element.textContent = text;
  return element;
}

function gap(count) {
  const element = part("text", `\u22ef ${count} more, shown by Pause or a filter`);
  const row = document.createElement("li");
  row.className = "gap";
  row.append(part("time", ""), part("way", ""), element);
  return row;
}

function item(line) {
  const element = document.createElement("li");
  element.className = line.error ? "error" : line.out ? "out" : "in";
  const way = part("way", line.error ? "error" : line.out ? "out" : "in");
  element.append(part("time", (line.ms / 1000).toFixed(3)), way, part("text", line.text));
  return element;
}
