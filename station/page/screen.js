// A camera's screen with a test's dialog: what it shows, its keys, touches, and the time that is left.
import {h, update} from "./dom.js";
import {announce, call} from "./station.js";

const kBetweenPictures = 100;  // ms: ten pictures a second at most
const kAfterTrouble = 1000;    // ms

// Keys of a keyboard as the camera knows them.
const kKeys = {ArrowUp: "Up", ArrowDown: "Down", ArrowLeft: "Left", ArrowRight: "Right", Enter: "Return",
  PageUp: "Prior", PageDown: "Next", " ": "Space", Backspace: "Back"};
function keyOf(event) {
  // What no camera has a key for stays the browser's.
  if (event.ctrlKey || event.altKey || event.metaKey) return null;
  if (["Tab", "Shift", "CapsLock", "Dead", "Escape", "F5", "F11", "F12", "AltGraph", "NumLock"].includes(event.key)) return null;
  return kKeys[event.key] ?? event.key;
}

// The dialogs that ask about an image name the button that each answer stands for; any key ends
// the one that says what came of it.
const kAnswer = / *\(button([12])\)/;
const kAnyKey = "0x71";

// What a control of the dialog wants: a key of the camera, or a touch on it.
function actOf(control) {
  if (control.enabled) {
    return {touch: {x: Math.round(control.x + control.width / 2), y: Math.round(control.y + control.height / 2)}};
  }
  const answer = kAnswer.exec(control.label);
  return {key: answer ? `0x7${answer[1] - 1}` : control.label};
}

export class CameraScreen extends HTMLElement {
  constructor() {
    super();
    this.picture = h("img", {alt: ""});
    this.glass = h("div", {class: "glass", tabindex: "0", role: "application", "data-first": true,
      "aria-label": "The camera's screen: keys that you press here go to the camera", "aria-describedby": "screen-help",
      onkeydown: (event) => this.press(event), onclick: (event) => this.touch(event)}, this.picture);
    this.heading = h("h3");
    this.words = h("p");
    this.help = h("p", {id: "screen-help", class: "faint"});
    this.keys = h("div", {class: "keypad", role: "group", "aria-label": "Keys of the camera"});
    this.missing = h("p", {class: "missing"});
    this.left = h("p", {class: "seconds"});
    this.trouble = h("p", {role: "alert", class: "problem-line"});
    this.said = "";
  }

  connectedCallback() {
    this.append(h("div", {class: "screen"}, this.glass,
      this.help),
      h("div", {class: "beside"}, this.heading, this.words, this.left, this.missing, this.keys, this.trouble));
    this.ticker = setInterval(() => this.tick(), 1000);
  }
  disconnectedCallback() {
    clearInterval(this.ticker);
    clearTimeout(this.next);
  }

  // id: the camera's; dialog: as docs/protocol.md has it and until when it is up; item: the test
  // that shows it, or empty.
  show(id, dialog, item) {
    this.camera = id;
    this.display = item.startsWith("test.items.viewFinder") ? "viewfinder" : "screen";
    const isNew = dialog.title !== this.dialog?.title;
    this.dialog = dialog;
    this.help.hidden = Boolean(dialog.asksNothing);
    this.help.textContent = this.display === "screen" ? "Click or touch the picture, or press keys while it is chosen."
      : "Press keys while the picture is chosen.";
    this.until = dialog.until;
    this.drawPicture();
    this.drawKeys();
    this.tick();
    if (isNew && (document.activeElement === document.body || document.activeElement?.tagName === "H1")) {
      this.glass.focus({preventScroll: true});
    }
  }

  // One at a time, and another one when something has changed meanwhile.
  drawPicture() {
    if (this.isDrawing) {
      this.isStale = true;
      return;
    }
    this.isDrawing = true;
    this.isStale = false;
    const began = Date.now();
    const done = () => {
      this.next = setTimeout(() => {
        this.isDrawing = false;
        if (this.isStale) this.drawPicture();
      }, Math.max(0, began + kBetweenPictures - Date.now()));
    };
    this.pictures = (this.pictures ?? 0) + 1;
    const next = h("img", {alt: `The camera's ${this.display}: ${this.dialog.title}`, draggable: "false"});
    next.onerror = () => {
      this.isBlind = true;
      this.trouble.textContent = "The camera's picture did not come; it is asked for again.";
      this.isStale = true;
      this.next = setTimeout(done, kAfterTrouble);
    };
    next.onload = () => {
      const isFirst = !this.picture.src;
      this.picture.replaceWith(next);  // the one before can be touched until then
      this.picture = next;
      if (this.isBlind) this.trouble.textContent = "";
      this.isBlind = false;
      if (isFirst) this.scrollIntoView({block: "nearest"});
      done();
    };
    next.src = `/api/v1/cameras/${encodeURIComponent(this.camera)}/screen.png?display=${this.display}&n=${Date.now()}-${this.pictures}`;
  }

  drawKeys() {
    const controls = this.dialog.controls.filter((each) => each.kind === "button");
    const captions = controls.map((each) => each.label.replace(kAnswer, ""));
    const name = (_, index) => {
      const alike = captions.filter((each) => each === captions[index]).length > 1;
      return alike ? `${captions[index]} ${captions.slice(0, index + 1).filter((each) => each === captions[index]).length}` : captions[index];
    };
    const isAnswer = controls.some((each) => kAnswer.test(each.label));
    this.heading.textContent = this.dialog.title;
    this.words.textContent = isAnswer ? `Is the picture ${this.display === "screen" ? "on" : "in"} the ${this.display} as it should be?`
      : this.dialog.controls.filter((each) => each.kind === "text").map((each) => each.text).join(" ");
    const keys = controls.map((control, index) => h("button", {id: `key-${control.id}`, class: control.hit ? "hit" : "",
      "aria-label": control.hit ? `${name(control, index)}, done` : name(control, index),
      onclick: () => this.act(actOf(this.dialog.controls.find((each) => each.id === control.id) ?? control))}, control.hit ? "✓ " : "", name(control, index)));
    if (this.dialog.title === "Laser Test") {
      keys.splice(0, keys.length, h("button", {id: "laser", class: "main", onclick: () => this.laser()}, "Press the laser button"));
    } else if (!controls.length && !this.dialog.asksNothing) {
      keys.push(h("button", {id: "go-on", class: "main", onclick: () => this.act({key: kAnyKey})}, "Go on"));
    }
    update(this.keys, keys);
    const missing = controls.map((control, index) => (control.hit ? null : name(control, index))).filter(Boolean);
    const text = controls.length < 2 || isAnswer ? "" : missing.length ? `Still missing: ${missing.join(", ")}` : "All done";
    this.missing.textContent = text;
  }

  tick() {
    const seconds = this.until ? Math.max(0, Math.ceil((this.until - Date.now()) / 1000)) : null;
    this.left.textContent = seconds === null ? "" : `${seconds} s left`;
    if (seconds === 10 && this.said !== this.until) {
      this.said = this.until;
      announce("10 seconds left");
    }
  }

  press(event) {
    const key = keyOf(event);
    if (!key) return;
    event.preventDefault();
    if (!event.repeat) this.act({key});
  }
  touch(event) {
    if (this.display === "viewfinder") return;  // nobody touches that one
    const seen = this.picture.getBoundingClientRect();
    if (!this.picture.naturalWidth) return;
    const at = (offset, size, pixels) => Math.min(pixels - 1, Math.max(0, Math.floor(offset / size * pixels)));
    this.act({touch: {x: at(event.clientX - seen.left, seen.width, this.picture.naturalWidth),
      y: at(event.clientY - seen.top, seen.height, this.picture.naturalHeight)}});
  }
  // One after the other, as they were done.
  act(what) {
    this.queue = (this.queue ?? Promise.resolve()).then(() => this.send(what));
  }
  async send({key, touch}) {
    const path = `/cameras/${encodeURIComponent(this.camera)}`;
    try {
      await (key ? call("PUT", `${path}/keys`, {key}) : call("PUT", `${path}/touch`, touch));
      this.trouble.textContent = "";
    } catch (error) {
      this.trouble.textContent = error.status === 422 ? `The camera has no key ${key}.` : error.message;
    }
  }
  async laser() {
    try {
      await call("PUT", `/cameras/${encodeURIComponent(this.camera)}/laser`, {});
      this.trouble.textContent = "";
    } catch (error) {
      this.trouble.textContent = error.message;
    }
  }
}
customElements.define("camera-screen", CameraScreen);
