// Written only when it differs: neither the browser nor assistive technology has work with what stays as it is.

export const element = (id) => document.getElementById(id);

export function text(target, value) {
  if (target.textContent !== String(value)) {
    target.textContent = value;
  }
}

export function attribute(target, name, value) {
  if (target.getAttribute(name) !== String(value)) {
    target.setAttribute(name, value);
  }
}

// Runs at most once in so many milliseconds: at once, and once more when it was asked for meanwhile.
export function throttled(milliseconds, run) {
  let timer = null;
  let again = false;
  const start = () => {
    again = false;
    run();
    timer = setTimeout(() => {
      timer = null;
      if (again) {
        start();
      }
    }, milliseconds);
  };
  return () => {
    again = true;
    if (timer === null) {
      start();
    }
  };
}
