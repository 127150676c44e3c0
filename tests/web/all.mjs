// All tests of the web page, in one process with one browser: node all.mjs
import "./controls.mjs";
import "./display.mjs";
import "./lines.mjs";
import "./access.mjs";
import "./security.mjs";
import "./lifecycle.mjs";
import "./looks.mjs";
