// Before anything is drawn: the appearance that was chosen here last; without one the system's.
"use strict";
{
  let chosen = null;
  try {
    chosen = localStorage.getItem("appearance");
  } catch {
    // Storage may be forbidden: then the choice lasts as long as the page.
  }
  document.documentElement.dataset.appearance = chosen === "dark" || chosen === "light" ? chosen : "auto";
}
